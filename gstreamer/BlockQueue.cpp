#include "BlockQueue.h"

#include <utility>

namespace sound::pipeline {

void BlockQueue::open(GstClockTime room) {
    std::scoped_lock const lock(mutex_);
    blocks_.clear();
    room_ = room;
    held_ = 0;
    overrunsHere_ = 0;
}

void BlockQueue::push(Block block) {
    {
        std::scoped_lock const lock(mutex_);
        if (!blocks_.empty() && held_ + block.duration > room_) {
            ++overruns_;
            ++overrunsHere_;
            return;
        }
        held_ += block.duration;
        block.overruns = std::exchange(overrunsHere_, 0);
        if (block.overruns > 0) GST_BUFFER_FLAG_SET(block.buffer.get(), GST_BUFFER_FLAG_DISCONT);
        blocks_.push_back(std::move(block));
    }
    changed_.notify_one();
}

std::optional<BlockQueue::Block> BlockQueue::next(Clock::time_point limit) {
    std::unique_lock lock(mutex_);
    changed_.wait_until(lock, limit, [this] { return unlocked_ || !blocks_.empty(); });
    if (unlocked_ || blocks_.empty()) return std::nullopt;
    auto block = std::move(blocks_.front());
    blocks_.pop_front();
    held_ -= block.duration;
    return block;
}

void BlockQueue::unlock(bool unlocked) {
    {
        std::scoped_lock const lock(mutex_);
        unlocked_ = unlocked;
    }
    changed_.notify_one();
}

bool BlockQueue::isUnlocked() const {
    std::scoped_lock const lock(mutex_);
    return unlocked_;
}

std::uint64_t BlockQueue::overruns() const {
    std::scoped_lock const lock(mutex_);
    return overruns_;
}

}  // namespace sound::pipeline
