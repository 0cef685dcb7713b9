# Builds QorArc for 64-bit ARM (Debian arm64) with Debian's cross compiler,
# package g++-aarch64-linux-gnu:
#   cmake -S . -B build-cross/arm64 -DQORARC_TESTS=OFF \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Libraries and packages of the target only; programs of the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Header-only libraries such as RapidJSON are the same for every processor:
# Debian installs them once in /usr/include, which its cross compilers search
# after their own headers.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)

# Lets CMake and CTest run the built programs on the build machine.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /usr/aarch64-linux-gnu)
