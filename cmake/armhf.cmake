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

# The emulator could put the sysroot in the place of "/", but the tests look at this machine's files and start its programs.
# So the test programs name the sysroot's loader themselves (tests/CMakeLists.txt), and that is told where libraries and code
# pages are; this machine's programs pass over libraries of another processor.
set(LUMIVAULT_LOADER ${LUMIVAULT_SYSROOT}/lib/ld-linux-armhf.so.3)
set(sysroot_libraries ${LUMIVAULT_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
set(CMAKE_CROSSCOMPILING_EMULATOR
  "qemu-arm-static;-E;LD_LIBRARY_PATH=${sysroot_libraries};-E;GCONV_PATH=${sysroot_libraries}/gconv")
