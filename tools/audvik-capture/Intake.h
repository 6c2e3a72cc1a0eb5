#pragma once

#include "SampleQueue.h"
#include "SoundIntake.h"

/// Takes blocks in for a recording.
class Intake : public tools::SoundIntake {
public:
    /// @param duration  how much to take in all, in seconds; 0 for no end
    Intake(tools::StreamFormat const& told, double duration)
        : SoundIntake(told), duration_(duration) {}

    tools::SampleQueue& queue() { return queue_; }

private:
    void begin() override;
    void take(std::span<unsigned char const> block) override;

    tools::SampleQueue queue_;
    double const duration_;
};
