#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include "SampleQueue.h"
#include "SoundIntake.h"

namespace sound::control {

/// Takes the sound of a session in, and tells where in it each moment lies.
class AudioIntake : public tools::SoundIntake {
public:
    /// Told that a frame is heard now, and each frame behind it when the rate says, until it is
    /// called again. Delivery thread.
    using Mark = std::function<void(std::uint64_t frame, tools::StreamFormat const& format)>;

    AudioIntake(tools::StreamFormat const& told, Mark mark)
        : SoundIntake(told), mark_(std::move(mark)) {}

    /// What comes next does not follow what came before. Delivery thread.
    void interrupt() { follows_ = false; }

    tools::SampleQueue& queue() { return queue_; }

private:
    using Clock = std::chrono::steady_clock;

    void take(std::span<unsigned char const> block) override;
    void push(std::span<unsigned char const> samples);
    bool isInTime() const;
    void beginStretch();

    tools::SampleQueue queue_;
    Mark const mark_;
    // The delivery thread's.
    bool follows_ = false;
    std::uint64_t bytes_ = 0;
    std::uint64_t firstFrame_ = 0;  ///< of what has come without an interruption
    Clock::time_point begin_;       ///< when that was heard
};

}  // namespace sound::control
