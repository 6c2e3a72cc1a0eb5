#include "Sound.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>

namespace sound::service {

namespace {

/// The sine of a whole turn's fraction, from 0 to 1, by its power series. The C library's own uses
/// an instruction that the emulator of a PowerPC does not know.
double sineOfTurn(double turn) {
    // Into the half around zero, where the series needs few terms.
    if (turn > 0.75) {
        turn -= 1;
    } else if (turn > 0.25) {
        turn = 0.5 - turn;
    }
    double const angle = 2 * std::numbers::pi * turn;
    double term = angle;
    double sum = angle;
    for (int n = 3; n <= 21; n += 2) {
        term *= -angle * angle / (n * (n - 1));
        sum += term;
    }
    return sum;
}

}  // namespace

std::uint64_t Sound::bytesPerSecond() const {
    return std::uint64_t{rate} * channels * sizeof samples[0];
}

std::string Sound::describe() const {
    char duration[32] = "endless";
    if (length) {
        std::snprintf(duration, sizeof duration, "%.2f s",
                      static_cast<double>(*length) / static_cast<double>(bytesPerSecond()));
    }
    return format().text() + ", " + duration +
           (convertedFrom.empty() ? "" : ", converted from " + convertedFrom + " to 16 bits");
}

Sound makeTone(std::uint32_t hertz, std::uint32_t rate, std::uint32_t channels,
               std::optional<double> duration) {
    constexpr double kAmplitude = 16384;
    Sound tone{{}, rate, channels, std::nullopt};
    // One second holds whole periods, so that it can be repeated without a seam.
    tone.samples.reserve(std::size_t{rate} * channels);
    for (std::uint64_t frame = 0; frame < rate; ++frame) {
        auto const phase = static_cast<double>(frame * hertz % rate) / rate;
        auto const sample = std::lround(kAmplitude * sineOfTurn(phase));
        tone.samples.insert(tone.samples.end(), channels,
                            toPipeOrder(static_cast<std::int16_t>(sample)));
    }
    if (duration) {
        auto const frames = static_cast<std::uint64_t>(std::llround(*duration * rate));
        tone.length = frames * channels * sizeof tone.samples[0];
    }
    return tone;
}

std::size_t copyBlock(Sound const& sound, std::uint64_t position, std::span<std::byte> block) {
    auto const samples = std::as_bytes(std::span(sound.samples));
    auto size = block.size();
    if (sound.length)
        size = static_cast<std::size_t>(std::min<std::uint64_t>(size, *sound.length - position));
    for (std::size_t copied = 0; copied < size;) {
        auto const from = static_cast<std::size_t>((position + copied) % samples.size());
        auto const count = std::min(size - copied, samples.size() - from);
        std::memcpy(block.data() + copied, samples.data() + from, count);
        copied += count;
    }
    return size;
}

}  // namespace sound::service
