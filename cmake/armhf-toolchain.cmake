# Cross-building for the camera: 32-bit ARM, hard-float (Debian's armhf),
# with Debian's cross compiler and a sysroot of Debian's armhf libraries
# (their packages unpacked, never installed on the build machine).
# scripts/cross-armhf.sh installs the one and makes the other,
# build-armhf-sysroot/ in the checkout; PSIA_ARMHF_SYSROOT names another.
#
#   cmake -S . -B build-armhf -DCMAKE_TOOLCHAIN_FILE=cmake/armhf-toolchain.cmake
#
# 64-bit time_t and off_t are not set here but in CMakeLists.txt, for every
# 32-bit build, whichever toolchain file a build system brings.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)

set(PSIA_TARGET_TRIPLET arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${PSIA_TARGET_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PSIA_TARGET_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${PSIA_TARGET_TRIPLET})

if(NOT PSIA_ARMHF_SYSROOT)
  set(PSIA_ARMHF_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build-armhf-sysroot)
endif()
get_filename_component(PSIA_ARMHF_SYSROOT ${PSIA_ARMHF_SYSROOT} ABSOLUTE)
# The same sysroot in CMake's compiler checks.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PSIA_ARMHF_SYSROOT)
if(NOT EXISTS ${PSIA_ARMHF_SYSROOT}/usr/include/sqlite3.h)
  message(FATAL_ERROR "No armhf sysroot in ${PSIA_ARMHF_SYSROOT}: "
                      "scripts/cross-armhf.sh --install-only makes it")
endif()

# Libraries, headers and CMake packages (GTest) from the sysroot only; the
# C++ headers and runtime come with the cross compiler; build tools are the
# host's.
set(CMAKE_SYSROOT ${PSIA_ARMHF_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${PSIA_ARMHF_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config sees only the sysroot's .pc files, and puts the sysroot in
# front of the paths they name.
set(ENV{PKG_CONFIG_LIBDIR}
    "${PSIA_ARMHF_SYSROOT}/usr/lib/${PSIA_TARGET_TRIPLET}/pkgconfig:${PSIA_ARMHF_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PSIA_ARMHF_SYSROOT})

# Tests run the ARM programs through qemu's user-mode emulator (the
# absolute path: the test harness execs it directly), with the sysroot's
# loader and libraries: one build of glibc for both.
find_program(PSIA_QEMU_ARM qemu-arm)
if(NOT PSIA_QEMU_ARM)
  set(PSIA_QEMU_ARM qemu-arm)
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${PSIA_QEMU_ARM} -L ${PSIA_ARMHF_SYSROOT})
