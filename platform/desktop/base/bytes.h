// Numbers in network byte order.
#pragma once

#include <cstdint>
#include <vector>

namespace desktop {

using Bytes = std::vector<std::uint8_t>;

inline std::uint32_t loadBig32(std::uint8_t const* from) {
    return std::uint32_t{from[0]} << 24 | std::uint32_t{from[1]} << 16 |
           std::uint32_t{from[2]} << 8 | std::uint32_t{from[3]};
}

inline void storeBig32(std::uint8_t* to, std::uint32_t value) {
    to[0] = static_cast<std::uint8_t>(value >> 24);
    to[1] = static_cast<std::uint8_t>(value >> 16);
    to[2] = static_cast<std::uint8_t>(value >> 8);
    to[3] = static_cast<std::uint8_t>(value);
}

}  // namespace desktop
