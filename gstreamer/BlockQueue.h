#pragma once

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

#include "stream_format.h"

namespace sound::pipeline {

struct UnrefBuffer {
    void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
};
using Buffer = std::unique_ptr<GstBuffer, UnrefBuffer>;

/// Hands blocks over from the delivery thread, which never waits, to the pipeline's.
class BlockQueue {
public:
    using Clock = std::chrono::steady_clock;

    struct Block {
        Buffer buffer;
        tools::StreamFormat format;
        GstClockTime duration;
        std::uint64_t overruns = 0;  ///< blocks that found no room before this one
    };

    /// Begins empty, with room for so much sound; one block always has room.
    void open(GstClockTime room);

    /// Drops it, and counts it, when there is no room.
    void push(Block block);

    /// @return the next block; nothing when none has come until @p limit, or while it is unlocked
    std::optional<Block> next(Clock::time_point limit);

    /// Nobody waits while it is unlocked.
    void unlock(bool unlocked);
    bool isUnlocked() const;

    /// All blocks that found no room.
    std::uint64_t overruns() const;

private:
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // Under the mutex:
    std::deque<Block> blocks_;
    GstClockTime room_ = 0;
    GstClockTime held_ = 0;  ///< how long the blocks play
    bool unlocked_ = false;
    std::uint64_t overruns_ = 0;
    std::uint64_t overrunsHere_ = 0;  ///< since the last block that found room
};

}  // namespace sound::pipeline
