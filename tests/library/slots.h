#pragma once

#include <cstddef>
#include <cstring>

/// @return the number of a virtual operation's slot in its class's virtual table; the two
///         destructors have slots 0 and 1. A pointer to a virtual member holds the slot's offset,
///         plus 1 on some machines.
template <class Member>
std::size_t slotOf(Member member) {
    std::size_t offset = 0;
    std::memcpy(&offset, &member, sizeof offset);
    return offset / sizeof(void*);
}
