#include "AudioIntake.h"

#include <array>
#include <cmath>

namespace sound::control {

void AudioIntake::take(std::span<unsigned char const> block) {
    if (block.empty()) {
        interrupt();
    } else {
        if (!follows_ || !isInTime()) beginStretch();
        push(block);
    }
    queue_.countAnnounced();
}

void AudioIntake::push(std::span<unsigned char const> samples) {
    follows_ = queue_.push(samples.data(), samples.size());
    if (follows_) bytes_ += samples.size();
}

/// Whatever was lost unnoticed, and however the service's clock drifts from this one.
bool AudioIntake::isInTime() const {
    constexpr double kTolerance = 0.1;
    std::chrono::duration<double> const elapsed = Clock::now() - begin_;
    auto const frames = bytes_ / format().frameSize() - firstFrame_;
    return std::abs(elapsed.count() - static_cast<double>(frames) / format().rate) < kTolerance;
}

void AudioIntake::beginStretch() {
    constexpr std::array<unsigned char, sizeof(std::int16_t) * tools::kMostChannels> kSilence{};
    // What was cut off within a frame must not shift the channels of what follows.
    auto const frameSize = format().frameSize();
    auto const rest = static_cast<std::size_t>(bytes_ % frameSize);
    if (!follows_ && rest > 0) push({kSilence.data(), frameSize - rest});
    firstFrame_ = bytes_ / frameSize;
    begin_ = Clock::now();
    mark_(firstFrame_, format());
}

}  // namespace sound::control
