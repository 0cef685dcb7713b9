# Builds QorArc for 64-bit ARM (Debian arm64) with Debian's cross compiler,
# package g++-aarch64-linux-gnu:
#   cmake -S . -B build-cross/arm64 -DQORARC_TESTS=OFF \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/aarch64-linux-gnu.cmake
# zlib and zstd of arm64 come from QORARC_TARGET_ROOT: "/" when their
# packages are installed for arm64 beside the build machine's (zlib1g-dev:arm64
# libzstd-dev:arm64), or the folder their packages were unpacked in, as
# scripts/cross-check.sh does.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

include(${CMAKE_CURRENT_LIST_DIR}/target-root.cmake)
