#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// Measures the level of each channel for a line on the terminal.
class LevelMeter {
public:
    explicit LevelMeter(std::size_t channels) : channels_(channels) {}

    /// Takes whole frames of samples in host byte order.
    void add(std::span<unsigned char const> samples);

    /// What was added since the last call, for each channel: a bar up to the effective level and
    /// on to the peak, and both in decibels below full scale.
    std::string line();

private:
    struct Channel {
        double peak = 0;
        double squares = 0;
    };
    std::vector<Channel> channels_;
    std::size_t frames_ = 0;
};
