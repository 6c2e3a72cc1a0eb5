#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Loudness.h"

/// Measures levels and loudness for a line on the terminal.
class LevelMeter {
public:
    LevelMeter(std::size_t channels, int rate);

    /// Takes whole frames of little-endian samples.
    void add(std::span<unsigned char const> samples);

    /// What was added since the last call, for each channel: a bar up to the effective level and
    /// on to the peak, and the peak in decibels below full scale; and how loud it is. Peaks are
    /// true peaks where they can be measured.
    std::string line();

private:
    struct Channel {
        double peak = 0;
        double squares = 0;
    };
    std::vector<Channel> channels_;
    std::size_t frames_ = 0;
    std::vector<std::int16_t> samples_;
    std::unique_ptr<Loudness> loudness_;
};
