#include "LevelMeter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

constexpr double kFullScale = 32768;
constexpr double kFloor = -60;

double decibels(double amplitude) {
    return std::max(kFloor, 20 * std::log10(std::max(amplitude, 1e-9)));
}

std::size_t barLength(double level) {
    constexpr double kWidth = 12;
    return static_cast<std::size_t>(
        std::lround((std::min(level, 0.0) - kFloor) / -kFloor * kWidth));
}

std::string oneDecimal(double value) {
    std::array<char, 16> text;
    std::snprintf(text.data(), text.size(), " %.1f", value);
    return text.data();
}

}  // namespace

LevelMeter::LevelMeter(std::size_t channels, int rate)
    : channels_(channels), loudness_(makeLoudness(channels, rate)) {}

void LevelMeter::add(std::span<unsigned char const> samples) {
    samples_.clear();
    for (std::size_t i = 1; i < samples.size(); i += 2) {
        samples_.push_back(static_cast<std::int16_t>(samples[i - 1] | samples[i] << 8));
    }
    for (std::size_t i = 0; i < samples_.size(); ++i) {
        double const value = samples_[i] / kFullScale;
        Channel& channel = channels_[i % channels_.size()];
        channel.peak = std::max(channel.peak, std::abs(value));
        channel.squares += value * value;
    }
    frames_ += samples_.size() / channels_.size();
    if (loudness_ == nullptr) return;
    loudness_->add(samples_);
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        channels_[i].peak = std::max(channels_[i].peak, loudness_->truePeak(i));
    }
}

std::string LevelMeter::line() {
    std::string text = loudness_ != nullptr ? "  dBTP" : "  dBFS";
    for (Channel& channel : channels_) {
        double const peak = decibels(channel.peak);
        double const effective =
            frames_ > 0 ? decibels(std::sqrt(channel.squares / static_cast<double>(frames_)))
                        : kFloor;
        std::string bar(barLength(0), ' ');
        std::fill_n(bar.begin(), barLength(peak), '-');
        std::fill_n(bar.begin(), barLength(effective), '#');
        text += "  |" + bar + '|' + oneDecimal(peak);
        channel = {};
    }
    frames_ = 0;
    if (loudness_ == nullptr) return text;
    constexpr double kQuietest = -70;  // below it the measure is not defined
    return text + " " + oneDecimal(std::max(loudness_->momentary(), kQuietest)) + " LUFS";
}
