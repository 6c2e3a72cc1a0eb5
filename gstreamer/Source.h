/// @file
/// What an audviksrc does, without what GObject asks of it.
#pragma once

#include <gst/base/gstbasesrc.h>
#include <gst/gst.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>

#include "BlockQueue.h"
#include "Intake.h"
#include "stream_format.h"

namespace sound::pipeline {

struct Settings {
    tools::StreamFormat format{48000, 2};  ///< where the service does not say it
    GstClockTime bufferTime = 10 * GST_SECOND;
};

class Source {
public:
    /// @param element  owns this
    explicit Source(GstBaseSrc& element) : element_(element) {}

    /// Connects the process with the sound service's address.
    /// @return false when that fails; it has been reported
    bool connect();
    /// Has blocks come, from now on.
    void play(Settings const& settings);
    void pause();

    /// A new run begins.
    void reset();

    /// Waits for the next block and gives its buffer.
    GstFlowReturn create(GstBuffer** buffer);
    void unlock(bool unlocked) { queue_.unlock(unlocked); }

    /// From when a block begins until it is there.
    GstClockTime latency() const { return latency_; }
    /// By how much more blocks may wait here.
    GstClockTime room() const { return room_; }
    std::uint64_t overruns() const { return queue_.overruns(); }

private:
    void checkService();
    void tellOfService(bool present);
    void tellOfOverruns(std::uint64_t count);
    void tellOfPace();
    GstFlowReturn useFormat(tools::StreamFormat const& format);
    void useDuration(GstClockTime duration);
    void post(GstStructure* structure);
    std::shared_ptr<Intake> intake();

    GstBaseSrc& element_;
    BlockQueue queue_;
    std::atomic<GstClockTime> latency_ = 0;
    std::atomic<GstClockTime> room_ = 0;

    std::mutex mutex_;
    std::shared_ptr<Intake> intake_;  ///< under mutex_; while the element plays

    // The pipeline's thread's.
    BlockQueue::Clock::time_point askAt_;  ///< whether the service is there
    std::optional<tools::StreamFormat> format_;
    bool present_ = true;  ///< the service, as far as anybody has been told
    bool paceDoubted_ = false;
};

}  // namespace sound::pipeline
