# SPDX-License-Identifier: MIT
#
# Cross-build for AArch64 with Debian's cross compiler against the sysroot that scripts/aarch64-sysroot.sh unpacks;
# tests run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

if(NOT DEFINED AARCH64_SYSROOT)
  set(AARCH64_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/aarch64-sysroot")
endif()
get_filename_component(AARCH64_SYSROOT "${AARCH64_SYSROOT}" ABSOLUTE)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES AARCH64_SYSROOT)
set(CMAKE_SYSROOT "${AARCH64_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH "${AARCH64_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${AARCH64_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR}
    "${AARCH64_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${AARCH64_SYSROOT}/usr/share/pkgconfig")

set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-aarch64-static;-L;${AARCH64_SYSROOT}")
