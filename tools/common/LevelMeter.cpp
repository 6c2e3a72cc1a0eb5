#include "LevelMeter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tools {

namespace {

constexpr double kFullScale = 32768;
constexpr double kFloor = -60;

double decibels(double amplitude) {
    constexpr double kQuietest = 1e-5;  // less than a bit
    return 20 * std::log10(std::max(amplitude, kQuietest));
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

LevelMeter::LevelMeter(StreamFormat const& format)
    : channels_(static_cast<std::size_t>(format.channels)),
      loudness_(makeLoudness(channels_.size(), format.rate)) {}

void LevelMeter::add(std::span<unsigned char const> samples) {
    bytes_.insert(bytes_.end(), samples.begin(), samples.end());
    std::size_t const frameSize = 2 * channels_.size();
    std::size_t const whole = bytes_.size() / frameSize * frameSize;
    samples_.clear();
    for (std::size_t i = 1; i < whole; i += 2) {
        samples_.push_back(static_cast<std::int16_t>(bytes_[i - 1] | bytes_[i] << 8));
    }
    bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(whole));
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

Levels LevelMeter::levels() {
    Levels levels;
    auto const frames = static_cast<double>(std::max<std::size_t>(frames_, 1));
    for (Channel& channel : channels_) {
        levels.peak.push_back(decibels(channel.peak));
        levels.effective.push_back(decibels(std::sqrt(channel.squares / frames)));
        channel = {};
    }
    frames_ = 0;
    constexpr double kQuietest = -70;  // below it the measure is not defined
    if (loudness_ != nullptr) levels.loudness = std::max(loudness_->momentary(), kQuietest);
    return levels;
}

std::string LevelMeter::line() {
    std::string text = loudness_ != nullptr ? "  dBTP" : "  dBFS";
    Levels const measured = levels();
    for (std::size_t i = 0; i < channels_.size(); ++i) {
        double const peak = std::max(kFloor, measured.peak[i]);
        std::string bar(barLength(0), ' ');
        std::fill_n(bar.begin(), barLength(peak), '-');
        std::fill_n(bar.begin(), barLength(std::max(kFloor, measured.effective[i])), '#');
        text += "  |" + bar + '|' + oneDecimal(peak);
    }
    return measured.loudness ? text + " " + oneDecimal(*measured.loudness) + " LUFS" : text;
}

}  // namespace tools
