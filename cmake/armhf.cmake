# Toolchain for the 32-bit ARM appliance: the distribution's cross compiler, its armhf packages below build/armhf-sysroot
# (scripts/cross-armhf makes that), and user-mode emulation for whatever has to run.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

cmake_path(SET LUMIVAULT_SYSROOT NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot")
set(CMAKE_SYSROOT ${LUMIVAULT_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${LUMIVAULT_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
  "${LUMIVAULT_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${LUMIVAULT_SYSROOT}/usr/share/pkgconfig")
set(CMAKE_CROSSCOMPILING_EMULATOR "qemu-arm-static;-L;${LUMIVAULT_SYSROOT}")
