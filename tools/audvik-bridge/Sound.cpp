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
    if (block.empty()) return;
    std::lock_guard const lock(mutex_);
    // A service that takes the place of another may play something else.
    auto const played = tools::readStreamFormat(pipe()).value_or(format());
    if (std::exchange(format_, played) != played) meter_.emplace(played);
    hasLevel_ = levelEvery_ > Clock::duration::zero();
    if (hasLevel_) meter_->add(block);
    if (isLeased()) {
        constexpr std::size_t kMostBlocks = 64;
        blocks_.push_back({"audio", {block.begin(), block.end()}});
        blocks_.back().properties = {{"rate", std::to_string(played.rate)},
                                     {"channels", std::to_string(played.channels)},
                                     {"block", std::to_string(blockNumber_++)}};
        if (blocks_.size() > kMostBlocks) blocks_.pop_front();
    }
    if (isLeased() || Clock::now() >= levelDue_) wake_();
}

void Sound::renewLease() {
    constexpr auto kLease = 5s;
    std::lock_guard const lock(mutex_);
    if (!isLeased()) blockNumber_ = 0;
    leaseEnd_ = Clock::now() + kLease;
}

std::optional<tools::MqttMessage> Sound::next() {
    std::lock_guard const lock(mutex_);
    if (hasLevel_ && Clock::now() >= levelDue_) return level();
    if (!isLeased()) blocks_.clear();
    if (blocks_.empty()) return std::nullopt;
    auto block = std::move(blocks_.front());
    blocks_.pop_front();
    return block;
}

tools::MqttMessage Sound::level() {
    levelDue_ = Clock::now() + levelEvery_;
    hasLevel_ = false;
    auto const levels = meter_->levels();
    auto line = tools::timedLine();
    line["rate"] = format_.rate;
    line["channels"] = format_.channels;
    line["peak"] = rounded(levels.peak);
    line["rms"] = rounded(levels.effective);
    line["loudness"] = levels.loudness ? rounded({*levels.loudness})[0] : tools::Json();
    return {"level", tools::toText(line)};
}
