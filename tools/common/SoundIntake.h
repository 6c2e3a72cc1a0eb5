#pragma once

#include <atomic>
#include <span>
#include <string>

#include "stream_format.h"

namespace tools {

/// Takes blocks of sound in on the delivery thread, and learns from the first one's announcement
/// what they are.
class SoundIntake {
public:
    /// @param told  what the blocks are when the service does not say it
    explicit SoundIntake(StreamFormat const& told) : format_(told) {}
    virtual ~SoundIntake() = default;
    SoundIntake(SoundIntake const&) = delete;
    SoundIntake& operator=(SoundIntake const&) = delete;

    /// A block has been announced. Delivery thread.
    /// @param block  empty when it could not be read
    void announce(std::string const& pipe, std::span<unsigned char const> block);

    /// Says whether a block has been announced: only then is it known what it is.
    bool hasBegun() const { return hasBegun_; }
    /// What the blocks are, and the path of the first one's pipe. Once it has begun.
    StreamFormat const& format() const { return format_; }
    bool formatIsFromService() const { return formatIsFromService_; }
    std::string const& pipe() const { return pipe_; }
    /// How the pace of the blocks contradicts a format that the service has not said; empty as long
    /// as it does not.
    std::string paceContradiction() const { return paceContradicts_ ? paceContradiction_ : ""; }

private:
    /// The format is known; blocks will follow.
    virtual void begin() {}
    /// The next block, empty when it could not be read.
    virtual void take(std::span<unsigned char const> block) = 0;

    void checkPace(std::size_t size);

    // The delivery thread's, until it has begun; then nobody changes them.
    StreamFormat format_;
    bool formatIsFromService_ = false;
    std::string pipe_;
    std::atomic<bool> hasBegun_ = false;
    // The delivery thread's.
    PaceCheck pace_;
    std::string paceContradiction_;  ///< until it contradicts; then nobody changes it
    std::atomic<bool> paceContradicts_ = false;
};

}  // namespace tools
