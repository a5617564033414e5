# Cross-build for the board (32-bit ARM, hard float) with Debian's arm-linux-gnueabihf
# compilers against an armhf root file system: -DCMAKE_SYSROOT=<root>, by default the one
# scripts/test-board makes. Libraries, headers, pkg-config files and CMake packages come from
# the root only (GStreamer 0.10 from its /usr/local); programs that run during the build
# (gst-launch-1.0 for the test videos) from the host.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
if(NOT CMAKE_SYSROOT)
    set(CMAKE_SYSROOT /var/cache/videod-board/root)
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig:${CMAKE_SYSROOT}/usr/local/lib/pkgconfig)
unset(ENV{PKG_CONFIG_PATH})
