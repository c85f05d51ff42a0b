# Cross-build for 64-bit Windows with clang and lld from Debian. clang, not GCC: only clang compiles
# structured exception handling (__try) for this target. The C++ runtime is GCC's libstdc++, linked statically.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(target x86_64-w64-windows-gnu)
set(CMAKE_C_COMPILER clang-19)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_C_COMPILER_TARGET ${target})
set(CMAKE_CXX_COMPILER_TARGET ${target})
set(CMAKE_RC_COMPILER llvm-windres-19)
set(CMAKE_AR llvm-ar-19)
set(CMAKE_RANLIB llvm-ranlib-19)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-fuse-ld=lld-19 -static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-fuse-ld=lld-19 -static")

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
