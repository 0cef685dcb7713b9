# Builds QorArc for 32-bit ARM with hardware floating point (Debian armhf)
# with Debian's cross compiler, package g++-arm-linux-gnueabihf:
#   cmake -S . -B build-cross/armhf -DQORARC_TESTS=OFF \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# GCC notes on every std::sort that the ARM calling convention for some
# structures changed in GCC 7.1; all of QorArc is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

# Libraries and packages of the target only; programs of the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Header-only libraries such as RapidJSON are the same for every processor:
# Debian installs them once in /usr/include, which its cross compilers search
# after their own headers.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)

# Lets CMake and CTest run the built programs on the build machine.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
