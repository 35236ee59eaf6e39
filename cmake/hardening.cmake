# harden(<target>...)
# Makes a mistake in what users get end the program instead of obeying who found it: stacks and
# buffers are watched, what the loader has filled in cannot be written, and, where the machine has
# it, jumps end where they may. To be called when a target has its options. It changes no result.
# Builds for sanitizers, which watch more, and the module for browsers are left as they are.
include(CheckCXXCompilerFlag)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "wasm32" OR CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    set(TONELINK_HARDENS OFF)
else()
    set(TONELINK_HARDENS ON)
endif()

set(hardening_options)
if(TONELINK_HARDENS)
    # Not every compiler has each of them for each machine.
    set(CMAKE_REQUIRED_FLAGS -Werror)
    foreach(option stack-protector-strong stack-clash-protection cf-protection)
        string(MAKE_C_IDENTIFIER "TONELINK_HAS_${option}" has)
        check_cxx_compiler_flag(-f${option} ${has})
        if(${has})
            list(APPEND hardening_options -f${option})
        endif()
    endforeach()
    check_cxx_compiler_flag(-mbranch-protection=standard TONELINK_HAS_branch_protection)
    if(TONELINK_HAS_branch_protection)
        list(APPEND hardening_options -mbranch-protection=standard)
    endif()
    unset(CMAKE_REQUIRED_FLAGS)
endif()

# fortifies(<variable> <target>): whether the target is optimised, without which the C library's
# headers know no sizes and warn.
function(fortifies variable target)
    string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
    get_target_property(own ${target} COMPILE_OPTIONS)
    string(REGEX MATCHALL "-O[0-9a-z]*" levels
        "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}} ${own}")
    set(last -O0)
    if(levels)
        list(GET levels -1 last)
    endif()
    if(TONELINK_HARDENS AND NOT last STREQUAL "-O0")
        set(${variable} ON PARENT_SCOPE)
    else()
        set(${variable} OFF PARENT_SCOPE)
    endif()
endfunction()

function(harden)
    if(NOT TONELINK_HARDENS)
        return()
    endif()
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE ${hardening_options})
        fortifies(is_fortified ${target})
        if(is_fortified) # some distributions' compilers begin with a level of their own
            target_compile_options(${target} PRIVATE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
        endif()
        get_target_property(type ${target} TYPE)
        if(type MATCHES "^(SHARED_LIBRARY|EXECUTABLE)$")
            target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
        endif()
    endforeach()
endfunction()
