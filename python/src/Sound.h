#pragma once

#include <atomic>
#include <cstddef>
#include <span>
#include <vector>

#include "FormatWatch.h"
#include "Mailbox.h"
#include "SoundIntake.h"

namespace sound::python {

/// Takes sound in for one who reads it in Python.
class Sound : public tools::SoundIntake {
public:
    using Samples = std::vector<unsigned char>;  ///< whole frames

    /// @param told     what the sound is when the service does not say it
    /// @param isGiven  whether somebody has said so, or else it is a guess
    /// @param seconds  how much of it may wait to be read
    Sound(tools::StreamFormat const& told, bool isGiven, double seconds)
        : SoundIntake(told), told_(told), isGiven_(isGiven), seconds_(seconds) {}

    Mailbox<Samples>& mailbox() { return mailbox_; }

    /// What the reader has to be told about the format, once it has begun. One thread at a time.
    std::optional<std::string> news();

    /// Blocks that were announced but are not among those to be read.
    std::size_t lost() const { return lost_; }
    /// Those of the lost ones that found no room.
    std::size_t overruns() const { return overruns_; }

private:
    void begin() override;
    void take(std::span<unsigned char const> block) override;

    tools::StreamFormat const told_;
    bool const isGiven_;
    double const seconds_;
    std::optional<tools::FormatWatch> watch_;
    Mailbox<Samples> mailbox_;
    // The delivery thread's.
    std::size_t room_ = 0;
    Samples rest_;  ///< less than a frame

    std::atomic<std::size_t> lost_ = 0;
    std::atomic<std::size_t> overruns_ = 0;
};

}  // namespace sound::python
