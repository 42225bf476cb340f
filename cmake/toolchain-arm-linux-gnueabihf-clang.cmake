# 32-bit ARM, hard-float, built by clang over the installed cross sysroot: the closest a
# Debian host gets to the device's own compiler. Programs run under qemu.
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-arm-linux-gnueabihf.cmake)
set(LUMIVA_CLANG clang-14 CACHE STRING "clang driver for the ARM build")
string(REPLACE "clang" "clang++" LUMIVA_CLANGXX "${LUMIVA_CLANG}")
set(CMAKE_C_COMPILER ${LUMIVA_CLANG})
set(CMAKE_CXX_COMPILER ${LUMIVA_CLANGXX})
set(CMAKE_C_COMPILER_TARGET arm-linux-gnueabihf)
set(CMAKE_CXX_COMPILER_TARGET arm-linux-gnueabihf)
