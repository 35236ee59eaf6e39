# add_static_library(<target> <list of exported names> <object>...)
# An archive of one object, made of the same objects as the shared library: it gives out the names in
# the list, one a line, and keeps all others to itself. So nothing of a program's own can be taken for
# something inside, nor the reverse.
function(add_static_library target names)
    set(whole ${CMAKE_CURRENT_BINARY_DIR}/${target}.o)
    separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
    # Inline functions leave their groups: the linker takes a group for any other of the same name.
    add_custom_command(OUTPUT ${whole}
        COMMAND ${CMAKE_CXX_COMPILER} ${flags} -fno-sanitize=all -r -nostdlib
            -Wl,--force-group-allocation -o ${whole} ${ARGN}
        COMMAND ${CMAKE_OBJCOPY} --keep-global-symbols=${names} ${whole}
        DEPENDS ${ARGN} ${names}
        COMMAND_EXPAND_LISTS VERBATIM)
    add_library(${target} STATIC ${whole})
    # It needs nothing of the C++ runtime.
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
endfunction()
