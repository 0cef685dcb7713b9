# The part the toolchain files share: where the target's libraries are, for
# CMake and for pkg-config. Needs CMAKE_LIBRARY_ARCHITECTURE (the Debian
# triplet, as in /usr/lib/<triplet>).
set(QORARC_TARGET_ROOT / CACHE PATH
    "Root of the target's libraries: / for Debian's multiarch folders, or a folder Debian packages of the target were unpacked in")
# try_compile reads the toolchain file again in a project of its own; without
# the root it would point pkg-config (an environment setting, shared by the
# whole run) back at "/".
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QORARC_TARGET_ROOT)
set(_qorarc_triplet ${CMAKE_LIBRARY_ARCHITECTURE})

# Libraries and packages of the target only; programs of the build machine.
# The cross compiler's own C and C++ libraries are in /usr/<triplet>.
set(CMAKE_FIND_ROOT_PATH /usr/${_qorarc_triplet} ${QORARC_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Header-only libraries such as RapidJSON are the same for every processor:
# Debian installs them once in /usr/include, which its cross compilers search
# after their own headers.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)

# pkg-config reads the target's .pc files only, never the build machine's;
# the paths in them are under the root.
string(REGEX REPLACE "/$" "" _qorarc_root "${QORARC_TARGET_ROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${_qorarc_root}/usr/lib/${_qorarc_triplet}/pkgconfig:${_qorarc_root}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
if(_qorarc_root STREQUAL "")
  unset(ENV{PKG_CONFIG_SYSROOT_DIR})
else()
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${_qorarc_root}")
endif()

# Lets CMake and CTest run the built programs on the build machine. The
# target's dynamic loader looks in its own /lib and /usr/lib first, where
# qemu -L finds the cross compiler's libraries and, with root "/", the
# multiarch ones; for a root of its own it is given the folders.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${CMAKE_SYSTEM_PROCESSOR} -L /usr/${_qorarc_triplet})
if(NOT _qorarc_root STREQUAL "")
  list(APPEND CMAKE_CROSSCOMPILING_EMULATOR
       -E LD_LIBRARY_PATH=${_qorarc_root}/lib/${_qorarc_triplet}:${_qorarc_root}/usr/lib/${_qorarc_triplet})
endif()
unset(_qorarc_triplet)
unset(_qorarc_root)
