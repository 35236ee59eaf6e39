set(processor arm)
set(triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)
# GCC tells that it has passed some arguments otherwise since its version 7.
set(CMAKE_CXX_FLAGS_INIT "-Wno-psabi")
