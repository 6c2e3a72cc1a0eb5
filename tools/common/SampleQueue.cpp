#include "SampleQueue.h"

#include <algorithm>

namespace tools {

namespace {

/// Some 20 s of stereo sound: what a disk may well take to wake up.
constexpr std::size_t kCapacity = 4U << 20;

}  // namespace

SampleQueue::SampleQueue() : queue_(kCapacity) {}

void SampleQueue::limit(std::uint64_t bytes) {
    limited_ = true;
    room_ = bytes;
}

bool SampleQueue::push(unsigned char const* data, std::size_t size) {
    if (closed_ || complete_) return true;
    std::size_t const wanted =
        limited_ ? static_cast<std::size_t>(std::min<std::uint64_t>(room_, size)) : size;
    if (queue_.write_available() < wanted) {
        ++overruns_;
        return false;
    }
    queue_.push(data, wanted);
    delivered_ = true;
    ++taken_;
    if (!limited_) return true;
    room_ -= wanted;
    complete_ = room_ == 0;
    return true;
}

void SampleQueue::countAnnounced() {
    ++announced_;
    if (!delivered_ && !complete_ && !closed_) ++lost_;
    delivered_ = false;
}

}  // namespace tools
