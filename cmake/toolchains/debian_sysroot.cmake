# Included by the toolchain files: compiles for Debian on ZEL_ARCH, with the compiler that the preset
# names and the libraries that script/sysroot has unpacked; programs run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
cmake_path(SET CMAKE_SYSROOT NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot/${ZEL_ARCH})
if(NOT EXISTS ${CMAKE_SYSROOT}/packages)
  message(FATAL_ERROR "there is no ${CMAKE_SYSROOT} yet: script/sysroot ${ZEL_ARCH}")
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZEL_EMULATOR} -L ${CMAKE_SYSROOT})
set(CMAKE_C_COMPILER_TARGET ${ZEL_CLANG_TARGET})
set(CMAKE_CXX_COMPILER_TARGET ${ZEL_CLANG_TARGET})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/${ZEL_TRIPLE}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
