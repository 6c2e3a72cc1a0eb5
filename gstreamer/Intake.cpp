#include "Intake.h"

#include <optional>
#include <utility>

namespace sound::pipeline {

namespace {

/// @return nothing when there is no clock, as outside a pipeline
std::optional<BlockTimes::Nanoseconds> nanoseconds(GstClockTime time) {
    if (!GST_CLOCK_TIME_IS_VALID(time)) return std::nullopt;
    return static_cast<BlockTimes::Nanoseconds>(time);
}

}  // namespace

Intake::Intake(GstElement& element, tools::StreamFormat const& told, BlockQueue& queue)
    : SoundIntake(told),
      element_(element),
      queue_(queue),
      format_(told),
      times_(nanoseconds(gst_element_get_current_running_time(&element)).value_or(0)) {}

void Intake::take(std::span<unsigned char const> block) {
    if (block.empty() || lookAtFormat()) {
        times_.restart();
        rest_.clear();
    }
    auto const size = (rest_.size() + block.size()) / format_.frameSize() * format_.frameSize();
    if (size == 0) {
        rest_.insert(rest_.end(), block.begin(), block.end());
        return;
    }
    BlockQueue::Block made{makeBuffer(block), format_, 0};
    setTimes(made);
    queue_.push(std::move(made));
}

/// Another service may have taken the place of the one before, and play something else.
/// @return whether it does
bool Intake::lookAtFormat() {
    if (!formatIsFromService()) return false;
    auto const played = tools::readStreamFormat(pipe()).value_or(format_);
    return std::exchange(format_, played) != played;
}

/// Of whole frames, with what was left of the block before.
Buffer Intake::makeBuffer(std::span<unsigned char const> block) {
    auto const all = rest_.size() + block.size();
    auto const size = all / format_.frameSize() * format_.frameSize();
    auto const fromBlock = size - rest_.size();
    Buffer buffer(gst_buffer_new_allocate(nullptr, size, nullptr));
    gst_buffer_fill(buffer.get(), 0, rest_.data(), rest_.size());
    gst_buffer_fill(buffer.get(), rest_.size(), block.data(), fromBlock);
    rest_.assign(block.begin() + static_cast<std::ptrdiff_t>(fromBlock), block.end());
    return buffer;
}

void Intake::setTimes(BlockQueue::Block& block) {
    auto& buffer = *block.buffer;
    auto const frames = gst_buffer_get_size(&buffer) / format_.frameSize();
    block.duration = gst_util_uint64_scale_int(frames, GST_SECOND, format_.rate);
    GST_BUFFER_DURATION(&buffer) = block.duration;
    auto const now = nanoseconds(gst_element_get_current_running_time(&element_));
    if (!now) return;
    auto const place = times_.place(*now, static_cast<BlockTimes::Nanoseconds>(block.duration));
    GST_BUFFER_PTS(&buffer) = static_cast<GstClockTime>(place.begin);
    GST_BUFFER_DURATION(&buffer) = static_cast<GstClockTime>(place.duration);
    if (!place.follows) GST_BUFFER_FLAG_SET(&buffer, GST_BUFFER_FLAG_DISCONT);
}

}  // namespace sound::pipeline
