# 32-bit ARM with hardware floating point: the television.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(AUDVIK_TRIPLET arm-linux-gnueabihf)
# All parts are built by one compiler: notes on what an older one passed otherwise say nothing.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(AUDVIK_EMULATOR qemu-arm)
set(AUDVIK_DEBIAN_ARCHITECTURE armhf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
