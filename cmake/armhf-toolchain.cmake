# Cross-building for the camera: 32-bit ARM, hard-float (Debian's armhf),
# with Debian's cross compiler and the armhf libraries installed multiarch
# (/usr/lib/arm-linux-gnueabihf). scripts/cross-armhf.sh installs both.
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

# Libraries, headers and CMake packages (GTest) come from the armhf
# multiarch directories, which the cross compiler searches by itself; build
# tools are the host's.
set(CMAKE_FIND_ROOT_PATH /usr/${PSIA_TARGET_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)

# pkg-config must see only the armhf .pc files, never the host's.
set(ENV{PKG_CONFIG_LIBDIR}
    "/usr/lib/${PSIA_TARGET_TRIPLET}/pkgconfig:/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")

# Tests run the ARM programs through qemu's user-mode emulator (the
# absolute path: the test harness execs it directly). The loader and the C
# library must come from one build of glibc: the cross toolchain's copy in
# /usr/arm-linux-gnueabihf can lag behind the multiarch libc6:armhf that the
# armhf libraries pull in (2.36-8cross1 against 2.36-9+deb12u14 on
# bookworm), and that mix crashes every child after fork(). So the
# multiarch loader (prefix /) is used whenever it is installed.
find_program(PSIA_QEMU_ARM qemu-arm)
if(NOT PSIA_QEMU_ARM)
  set(PSIA_QEMU_ARM qemu-arm)
endif()
if(EXISTS /lib/ld-linux-armhf.so.3)
  set(PSIA_QEMU_LD_PREFIX /)
else()
  set(PSIA_QEMU_LD_PREFIX /usr/${PSIA_TARGET_TRIPLET})
endif()
set(CMAKE_CROSSCOMPILING_EMULATOR ${PSIA_QEMU_ARM} -L ${PSIA_QEMU_LD_PREFIX})
