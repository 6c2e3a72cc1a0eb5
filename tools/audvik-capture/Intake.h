#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "BlockQueue.h"
#include "stream_format.h"

/// Takes blocks in on the delivery thread, and learns from the first one's announcement what they
/// are. The agent hands a block over before its announcement is heard here, so it is held until
/// then.
class Intake {
public:
    /// @param told      what the blocks are when the service does not say it
    /// @param duration  how much to take in all, in seconds; 0 for no end
    Intake(tools::StreamFormat const& told, double duration);

    /// The block that is about to be announced. Delivery thread.
    void hold(unsigned char const* data, std::size_t size) { held_.assign(data, data + size); }

    /// A block has been announced, whether it could be read or not. Delivery thread.
    void announce(std::string const& pipe);

    BlockQueue& queue() { return queue_; }
    BlockQueue const& queue() const { return queue_; }

    /// Says whether a block has been announced: only then is it known what it is.
    bool hasBegun() const { return hasBegun_; }
    /// What the blocks are, and the path of the first one's pipe. Once it has begun.
    tools::StreamFormat const& format() const { return format_; }
    bool formatIsFromService() const { return formatIsFromService_; }
    std::string const& pipe() const { return pipe_; }
    /// How the pace of the blocks contradicts a format that the service has not said; empty as long
    /// as it does not.
    std::string paceContradiction() const { return paceContradicts_ ? paceContradiction_ : ""; }

private:
    void begin(std::string const& pipe);
    void checkPace();

    BlockQueue queue_;
    // The delivery thread's, until it has begun; then nobody changes them.
    tools::StreamFormat format_;
    bool formatIsFromService_ = false;
    std::string pipe_;
    std::atomic<bool> hasBegun_ = false;
    // The delivery thread's.
    double const duration_;
    std::vector<unsigned char> held_;
    tools::PaceCheck pace_;
    std::string paceContradiction_;  ///< until it contradicts; then nobody changes it
    std::atomic<bool> paceContradicts_ = false;
};
