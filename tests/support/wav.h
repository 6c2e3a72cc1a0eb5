/// @file
/// Files of sound, made byte by byte.
#pragma once

#include <cstdint>
#include <string>

inline std::string littleEndian(std::uint32_t value, unsigned bytes) {
    std::string text;
    for (unsigned i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
}

/// @param samples  of 16 bits, in little-endian order
inline std::string wav(std::uint32_t rate, std::uint32_t channels, std::string const& samples) {
    auto const size = static_cast<std::uint32_t>(samples.size());
    return "RIFF" + littleEndian(36 + size, 4) + "WAVEfmt " + littleEndian(16, 4) +
           littleEndian(1, 2) + littleEndian(channels, 2) + littleEndian(rate, 4) +
           littleEndian(rate * channels * 2, 4) + littleEndian(channels * 2, 2) +
           littleEndian(16, 2) + "data" + littleEndian(size, 4) + samples;
}
