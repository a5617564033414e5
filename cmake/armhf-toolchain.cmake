# Cross-build for the board (32-bit ARM, hard float) against the root file system of its image:
# -DCMAKE_SYSROOT=<root>. The compiler is the one given (CMAKE_C_COMPILER and
# CMAKE_CXX_COMPILER, or CC and CXX), a board SDK's for instance, else Debian's
# arm-linux-gnueabihf compilers. Libraries, headers, pkg-config files and CMake packages come
# from the root only; programs that run during the build from the host.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
if(NOT CMAKE_LIBRARY_ARCHITECTURE)
    set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
endif()

if(NOT CMAKE_C_COMPILER AND NOT DEFINED ENV{CC})
    set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
endif()
if(NOT CMAKE_CXX_COMPILER AND NOT DEFINED ENV{CXX})
    set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config as a cross pkg-config runs it: only the root's folders by default (Debian's
# multiarch one, the plain one SDKs use, the shared and the local one), paths in its answers
# under the root; folders the user put on PKG_CONFIG_PATH are searched first, as ever. Without a
# sysroot (a compiler that has its own) pkg-config runs as the environment sets it.
if(CMAKE_SYSROOT)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
    set(pkg_config_libdir)
    foreach(pkg_config_dir lib/pkgconfig lib/${CMAKE_LIBRARY_ARCHITECTURE}/pkgconfig share/pkgconfig
                local/lib/pkgconfig)
        list(APPEND pkg_config_libdir ${CMAKE_SYSROOT}/usr/${pkg_config_dir})
    endforeach()
    string(REPLACE ";" ":" pkg_config_libdir "${pkg_config_libdir}")
    set(ENV{PKG_CONFIG_LIBDIR} ${pkg_config_libdir})
endif()
