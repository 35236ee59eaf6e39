# Which platform the library stands on, and what can be built on it.
if(CMAKE_CROSSCOMPILING)
    set(default_platform external)
else()
    set(default_platform host)
endif()
set(TONELINK_PLATFORM ${default_platform} CACHE STRING
    "host: build the host platform; external: the platform comes with the device or the program")
set_property(CACHE TONELINK_PLATFORM PROPERTY STRINGS host external)
if(NOT TONELINK_PLATFORM MATCHES "^(host|external)$")
    message(FATAL_ERROR "TONELINK_PLATFORM is \"${TONELINK_PLATFORM}\"; it can be host or external")
endif()

if(TONELINK_PLATFORM STREQUAL host)
    set(on_host ON)
else()
    set(on_host OFF)
endif()
option(TONELINK_BUILD_TOOL "Build the tonelink command, which needs the host platform" ${on_host})
option(TONELINK_BUILD_BENCH "Build the benchmarks" ${on_host})
if(TONELINK_BUILD_TOOL AND NOT on_host)
    message(FATAL_ERROR
        "The tonelink command plays through the host platform, so it cannot be built with "
        "TONELINK_PLATFORM=external. Build it with TONELINK_PLATFORM=host, or leave it out with "
        "-DTONELINK_BUILD_TOOL=OFF.")
endif()

if(NOT on_host)
    message(STATUS "Platform: external, to be brought by the device or the program (docs/porting.md)")
    message(STATUS "Left out: the host platform, and what needs it: the tonelink command with its "
        "manual, and the tests of both and of transmissions through a sound server")
    if(NOT TONELINK_BUILD_BENCH)
        message(STATUS "Left out: the benchmarks; -DTONELINK_BUILD_BENCH=ON builds them")
    endif()
    if(NOT BUILD_TESTING)
        message(STATUS "Left out, as BUILD_TESTING is off: the tests, and with their stand-in for a "
            "device every example but own_platform and receive")
    endif()
endif()
