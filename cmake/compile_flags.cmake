# How every target is compiled: warnings, and the rules that keep the numbers the same everywhere.

add_library(tonelink_flags INTERFACE)

target_compile_options(tonelink_flags INTERFACE
    -Wall -Wextra -Wconversion -Wshadow
    $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>
    $<$<COMPILE_LANGUAGE:C>:-Wmissing-prototypes>
    $<$<BOOL:${TONELINK_WERROR}>:-Werror>
    # One rounding per operation: no fused multiply-add that another machine would not have.
    -ffp-contract=off)

# 32-bit x86 counts in SSE2 registers; the x87 ones would round differently.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86_64|AMD64)$")
    target_compile_options(tonelink_flags INTERFACE -msse2 -mfpmath=sse)
endif()
