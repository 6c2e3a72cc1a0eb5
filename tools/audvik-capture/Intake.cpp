#include "Intake.h"

#include <cmath>

Intake::Intake(tools::StreamFormat const& told, double duration)
    : format_(told), duration_(duration) {
    constexpr std::size_t kLargestBlock = 16384;
    held_.reserve(kLargestBlock);  // nothing fails for want of memory later
}

void Intake::announce(std::string const& pipe) {
    if (!hasBegun_) begin(pipe);
    if (!held_.empty()) {
        if (!formatIsFromService_) checkPace();
        queue_.push(held_.data(), held_.size());
        held_.clear();
    }
    queue_.countAnnounced();
}

void Intake::begin(std::string const& pipe) {
    if (auto const note = tools::readStreamFormat(pipe)) {
        format_ = *note;
        formatIsFromService_ = true;
    }
    pipe_ = pipe;
    if (duration_ > 0) {
        auto const frames = std::llround(duration_ * format_.rate);
        queue_.limit(static_cast<std::uint64_t>(frames) * format_.frameSize());
    }
    hasBegun_ = true;
}

void Intake::checkPace() {
    pace_.add(held_.size(), tools::PaceCheck::Clock::now());
    if (paceContradicts_) return;
    auto const contradiction = pace_.contradiction(format_);
    if (!contradiction) return;
    paceContradiction_ = *contradiction;
    paceContradicts_ = true;
}
