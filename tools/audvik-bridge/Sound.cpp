#include "Sound.h"

#include <cmath>
#include <utility>

#include "message_json.h"

using namespace std::chrono_literals;

namespace {

tools::Json rounded(std::vector<double> const& values) {
    auto json = tools::Json::array();
    for (double const value : values) json.push_back(std::round(value * 10) / 10);
    return json;
}

}  // namespace

Sound::Sound(double levelRate, std::function<void()> wake)
    : SoundIntake({48000, 2}), wake_(std::move(wake)) {
    if (levelRate > 0) levelEvery_ = std::chrono::duration_cast<Clock::duration>(1s / levelRate);
}

void Sound::take(std::span<unsigned char const> block) {
    constexpr std::size_t kMostBlocks = 64;
    if (block.empty()) return;
    std::lock_guard const lock(mutex_);
    lookAtFormat();
    if (levelEvery_ > Clock::duration::zero()) {
        meter_->add(block);
        hasLevel_ = true;
    }
    if (!isLeased()) return;
    blocks_.push_back({"audio", {block.begin(), block.end()}});
    blocks_.back().properties = {{"rate", std::to_string(format_.rate)},
                                 {"channels", std::to_string(format_.channels)},
                                 {"block", std::to_string(blockNumber_++)}};
    if (blocks_.size() > kMostBlocks) blocks_.pop_front();
    wake_();
}

/// A service that takes the place of another may play something else.
void Sound::lookAtFormat() {
    constexpr auto kLookEvery = 1s;
    auto const now = Clock::now();
    if (now - looked_ < kLookEvery) return;
    looked_ = now;
    auto const played = tools::readStreamFormat(pipe()).value_or(format());
    if (std::exchange(format_, played) == played) return;
    meter_.emplace(static_cast<std::size_t>(format_.channels), format_.rate);
}

void Sound::renewLease() {
    constexpr auto kLease = 5s;
    std::lock_guard const lock(mutex_);
    if (!isLeased()) blockNumber_ = 0;
    leaseEnd_ = Clock::now() + kLease;
}

std::chrono::milliseconds Sound::untilLevel() const {
    if (levelEvery_ == Clock::duration::zero()) return std::chrono::milliseconds::max();
    return std::chrono::ceil<std::chrono::milliseconds>(levelDue_.load() - Clock::now());
}

std::optional<tools::MqttMessage> Sound::nextLevel() {
    std::lock_guard const lock(mutex_);
    auto const now = Clock::now();
    if (now < levelDue_.load()) return std::nullopt;
    levelDue_ = now + levelEvery_;
    if (!std::exchange(hasLevel_, false)) return std::nullopt;
    auto const levels = meter_->levels();
    auto line = tools::timedLine();
    line["rate"] = format_.rate;
    line["channels"] = format_.channels;
    line["peak"] = rounded(levels.peak);
    line["rms"] = rounded(levels.effective);
    line["loudness"] = levels.loudness ? rounded({*levels.loudness})[0] : tools::Json();
    return tools::MqttMessage{"level", tools::toText(line)};
}

std::optional<tools::MqttMessage> Sound::nextBlock() {
    std::lock_guard const lock(mutex_);
    if (!isLeased()) blocks_.clear();
    if (blocks_.empty()) return std::nullopt;
    auto block = std::move(blocks_.front());
    blocks_.pop_front();
    return block;
}
