#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Loudness.h"
#include "stream_format.h"

namespace tools {

struct Levels {
    /// Of each channel, in decibels below full scale. Peaks are true peaks where they can be
    /// measured.
    std::vector<double> peak;
    std::vector<double> effective;
    std::optional<double> loudness;  ///< of the last 400 ms, in LUFS, where it can be measured
};

/// Measures levels and loudness.
class LevelMeter {
public:
    explicit LevelMeter(StreamFormat const& format);

    /// Takes little-endian samples, frame by frame. What is no whole frame waits for the rest.
    void add(std::span<unsigned char const> samples);

    /// Of what was added since the last call.
    Levels levels();

    /// The same for a terminal: for each channel, a bar up to the effective level and on to the
    /// peak, and the peak in decibels; and how loud it is.
    std::string line();

private:
    struct Channel {
        double peak = 0;
        double squares = 0;
    };
    std::vector<Channel> channels_;
    std::size_t frames_ = 0;
    std::vector<unsigned char> bytes_;  ///< of no whole frame yet
    std::vector<std::int16_t> samples_;
    std::unique_ptr<Loudness> loudness_;
};

}  // namespace tools
