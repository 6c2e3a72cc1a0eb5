#pragma once

#include <gst/gst.h>

#include <vector>

#include "BlockQueue.h"
#include "BlockTimes.h"
#include "SoundIntake.h"

namespace sound::pipeline {

/// Makes buffers of the blocks that come while an element plays.
class Intake : public tools::SoundIntake {
public:
    /// @param told  what the blocks are when the service does not say it
    Intake(GstElement& element, tools::StreamFormat const& told, BlockQueue& queue);

private:
    void begin() override { format_ = format(); }
    void take(std::span<unsigned char const> block) override;

    bool lookAtFormat();
    Buffer makeBuffer(std::span<unsigned char const> block);
    void setTimes(BlockQueue::Block& block);

    GstElement& element_;
    BlockQueue& queue_;
    // The delivery thread's.
    tools::StreamFormat format_;
    BlockTimes times_;
    std::vector<unsigned char> rest_;  ///< of a frame that the next block completes
};

}  // namespace sound::pipeline
