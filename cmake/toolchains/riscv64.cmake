set(processor riscv64)
set(triplet riscv64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/emulated.cmake)
