# Builds QorArc for 32-bit ARM with hardware floating point (Debian armhf)
# with Debian's cross compiler, package g++-arm-linux-gnueabihf:
#   cmake -S . -B build-cross/armhf -DQORARC_TESTS=OFF \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/arm-linux-gnueabihf.cmake
# zlib and zstd of armhf come from QORARC_TARGET_ROOT: "/" when their
# packages are installed for armhf beside the build machine's (zlib1g-dev:armhf
# libzstd-dev:armhf), or the folder their packages were unpacked in, as
# scripts/cross-check.sh does.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# GCC notes on every std::sort that the ARM calling convention for some
# structures changed in GCC 7.1; all of QorArc is built by one compiler.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

include(${CMAKE_CURRENT_LIST_DIR}/target-root.cmake)
