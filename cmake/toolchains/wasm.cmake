# Debian's Clang for WebAssembly, with the C library of WASI. The module calls nothing of the system.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
option(TONELINK_WASM_SIMD "Compile for vectors of 128 bits, which every browser of today has" ON)
# It warns of what has no meaning where nothing is loaded at run time.
set(CMAKE_CXX_FLAGS_INIT -Wno-unused-command-line-argument)
if(TONELINK_WASM_SIMD)
    # Browsers that have vectors have the others as well, which make the module 2 % smaller.
    set(with_vectors "-msimd128 -mbulk-memory -mnontrapping-fptoint")
    set(CMAKE_C_FLAGS_INIT "${with_vectors}")
    string(APPEND CMAKE_CXX_FLAGS_INIT " ${with_vectors}")
endif()
