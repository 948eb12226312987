# Cross-compiling for 32-bit big-endian PowerPC (the router's architecture)
# with Debian's powerpc-linux-gnu toolchain; tests run under qemu-ppc-static.
#
# TARN_CROSS_SYSROOT names a folder with include/ and lib/ holding what
# Debian has no powerpc package for: a static libcrypto built from Debian's
# OpenSSL source and GoogleTest (scripts/cross-test makes it).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)

if(NOT TARN_CROSS_SYSROOT)
  set(TARN_CROSS_SYSROOT "$ENV{TARN_CROSS_SYSROOT}")
endif()
# Keep the variable for try_compile projects, which read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARN_CROSS_SYSROOT)

set(CMAKE_FIND_ROOT_PATH /usr/powerpc-linux-gnu ${TARN_CROSS_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(OPENSSL_USE_STATIC_LIBS TRUE)
set(OPENSSL_ROOT_DIR ${TARN_CROSS_SYSROOT})
# libcrypto.a uses 64-bit atomics, which ppc32 takes from libatomic.
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-latomic")
set(CMAKE_C_STANDARD_LIBRARIES_INIT "-latomic")

# 64-bit file offsets and inode numbers: without them stat() and readdir()
# fail with EOVERFLOW on file systems with large inode numbers, and the
# plug-in walk silently finds nothing.
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-ppc-static;-L;/usr/powerpc-linux-gnu)
