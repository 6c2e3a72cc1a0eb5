/// @file
/// Sound in memory, and cutting it into blocks.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "stream_format.h"

namespace sound::service {

/// Interleaved 16-bit samples as they go into the pipes: little-endian on any host. A
/// default-constructed sound is silent and of no length.
struct Sound {
    std::vector<std::int16_t> samples;
    std::uint32_t rate = 0;  ///< in Hz
    std::uint32_t channels = 0;
    /// How many bytes are played, repeating the samples as often as it takes; without it there is
    /// no end.
    std::optional<std::uint64_t> length = 0;
    /// What kind of samples the file has, when they had to be converted.
    std::string convertedFrom = {};

    std::uint64_t bytesPerSecond() const;

    tools::StreamFormat format() const {
        return {static_cast<int>(rate), static_cast<int>(channels)};
    }

    /// Rate, channels and duration, as a user reads them.
    std::string describe() const;
};

/// @return a sample of this host's byte order in the pipes' byte order
constexpr std::int16_t toPipeOrder(std::int16_t sample) {
    if constexpr (std::endian::native == std::endian::little) return sample;
    auto const bits = static_cast<std::uint16_t>(sample);
    return static_cast<std::int16_t>(bits << 8 | bits >> 8);
}

/// @param hertz     from 1 to half of @p rate
/// @param duration  in seconds; endless when there is none
Sound makeTone(std::uint32_t hertz, std::uint32_t rate, std::uint32_t channels,
               std::optional<double> duration);

/// Reads a file of a kind that libsndfile knows, whole. Samples of another kind than 16-bit
/// integers are rounded; what is above full scale is clipped.
/// @throws std::runtime_error  says what is wrong with the file and what is accepted
Sound readSoundFile(std::string const& path);

/// Copies the sound's bytes from @p position on.
/// @return how many there were: as many as @p block holds, or less at the sound's end
std::size_t copyBlock(Sound const& sound, std::uint64_t position, std::span<std::byte> block);

}  // namespace sound::service
