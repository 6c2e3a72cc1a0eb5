# 32-bit PowerPC: no product, but the other byte order.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)
set(AUDVIK_TRIPLET powerpc-linux-gnu)
set(AUDVIK_EMULATOR qemu-ppc)
set(AUDVIK_DEBIAN_ARCHITECTURE powerpc)
# Small constants would land in a section that stays writable.
set(CMAKE_CXX_FLAGS_INIT -msdata=none)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)
