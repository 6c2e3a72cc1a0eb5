#include "LevelMeter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kFullScale = 32768;
constexpr double kFloor = -60;

double decibels(double amplitude) {
    return std::max(kFloor, 20 * std::log10(std::max(amplitude / kFullScale, 1e-9)));
}

std::size_t barLength(double level) {
    constexpr double kWidth = 12;
    return static_cast<std::size_t>(std::lround((level - kFloor) / -kFloor * kWidth));
}

}  // namespace

void LevelMeter::add(std::span<unsigned char const> samples) {
    std::size_t const count = samples.size() / sizeof(std::int16_t);
    for (std::size_t i = 0; i < count; ++i) {
        double const value = static_cast<std::int16_t>(samples[2 * i] | samples[2 * i + 1] << 8);
        Channel& channel = channels_[i % channels_.size()];
        channel.peak = std::max(channel.peak, std::abs(value));
        channel.squares += value * value;
    }
    frames_ += count / channels_.size();
}

std::string LevelMeter::line() {
    std::string text = "  peak/rms dBFS";
    for (Channel& channel : channels_) {
        double const peak = decibels(channel.peak);
        double const effective =
            frames_ > 0 ? decibels(std::sqrt(channel.squares / static_cast<double>(frames_)))
                        : kFloor;
        std::string bar(barLength(0), ' ');
        std::fill_n(bar.begin(), barLength(peak), '-');
        std::fill_n(bar.begin(), barLength(effective), '#');
        std::array<char, 32> numbers;
        std::snprintf(numbers.data(), numbers.size(), "| %.1f/%.1f", peak, effective);
        text += "  |" + bar + numbers.data();
        channel = {};
    }
    frames_ = 0;
    return text;
}
