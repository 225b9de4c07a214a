# Cross build for 32-bit ARM hard-float Linux (armhf) against a sysroot holding Qt 5.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake \
#         -DARMHF_SYSROOT=/path/to/sysroot
#
# ARMHF_SYSROOT        the target's root file system (cache variable, or the environment
#                      variable of the same name); any SDK sysroot with Qt 5 headers,
#                      libraries and CMake configs will do.
# ARMHF_CROSS_PREFIX   prefix of the cross tools, default arm-linux-gnueabihf-; or set
#                      CMAKE_C_COMPILER / CMAKE_CXX_COMPILER directly.
# ARMHF_HOST_QT_BINDIR where this machine's moc, rcc and qmake of the target's Qt version
#                      live, default /usr/lib/qt5/bin. The sysroot's own tools are ARM
#                      binaries and cannot run here.
# CMAKE_CROSSCOMPILING_EMULATOR
#                      how ctest runs the target's programs; defaults to
#                      qemu-arm-static -L <sysroot> when qemu-arm-static is installed.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

if(NOT ARMHF_SYSROOT AND DEFINED ENV{ARMHF_SYSROOT})
    set(ARMHF_SYSROOT "$ENV{ARMHF_SYSROOT}")
endif()
set(ARMHF_SYSROOT "${ARMHF_SYSROOT}" CACHE PATH "Root file system of the armhf target")
if(NOT ARMHF_SYSROOT OR NOT IS_DIRECTORY "${ARMHF_SYSROOT}")
    message(FATAL_ERROR "armhf: set ARMHF_SYSROOT to the target's sysroot (got '${ARMHF_SYSROOT}')")
endif()

set(ARMHF_CROSS_PREFIX "arm-linux-gnueabihf-" CACHE STRING "Prefix of the cross compiler's tools")
set(ARMHF_HOST_QT_BINDIR "/usr/lib/qt5/bin" CACHE PATH "This machine's Qt 5 tools (moc, rcc)")

# try_compile projects read this file again without the cache: hand the settings on.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
     ARMHF_SYSROOT ARMHF_CROSS_PREFIX ARMHF_HOST_QT_BINDIR)

if(NOT CMAKE_C_COMPILER)
    set(CMAKE_C_COMPILER "${ARMHF_CROSS_PREFIX}gcc")
endif()
if(NOT CMAKE_CXX_COMPILER)
    set(CMAKE_CXX_COMPILER "${ARMHF_CROSS_PREFIX}g++")
endif()

set(CMAKE_SYSROOT "${ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH "${ARMHF_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian-style sysroots keep libraries and CMake configs in a multiarch folder.
if(IS_DIRECTORY "${ARMHF_SYSROOT}/usr/lib/arm-linux-gnueabihf")
    set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
endif()

if(NOT DEFINED CMAKE_CROSSCOMPILING_EMULATOR)
    find_program(ARMHF_QEMU qemu-arm-static)
    if(ARMHF_QEMU)
        set(CMAKE_CROSSCOMPILING_EMULATOR "${ARMHF_QEMU};-L;${ARMHF_SYSROOT}")
    endif()
endif()

# Qt 5's CMake config only creates Qt5::moc, Qt5::rcc and Qt5::qmake when they do not exist
# yet, so defining them first makes AUTOMOC and AUTORCC run this machine's tools.
foreach(tool moc rcc qmake)
    if(NOT TARGET Qt5::${tool} AND EXISTS "${ARMHF_HOST_QT_BINDIR}/${tool}")
        add_executable(Qt5::${tool} IMPORTED GLOBAL)
        set_target_properties(Qt5::${tool} PROPERTIES
            IMPORTED_LOCATION "${ARMHF_HOST_QT_BINDIR}/${tool}")
    endif()
endforeach()
