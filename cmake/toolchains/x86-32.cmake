# 32-bit x86 on a 64-bit host: Debian's g++-12-multilib, which conflicts with no cross compiler but
# leaves the 64-bit multiarch headers to be named here.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER gcc-12)
set(CMAKE_CXX_COMPILER g++-12)
set(CMAKE_C_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT "-m32 -idirafter /usr/include/x86_64-linux-gnu")
# Most hosts run 32-bit programs themselves; some kernels are built or set not to.
execute_process(COMMAND /lib/ld-linux.so.2 --version
                OUTPUT_QUIET ERROR_QUIET RESULT_VARIABLE unable_to_run)
if(unable_to_run)
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-i386-static)
else()
    set(CMAKE_CROSSCOMPILING_EMULATOR env)
endif()
