#include "Intake.h"

#include <cmath>

void Intake::begin() {
    if (duration_ == 0) return;
    auto const frames = std::llround(duration_ * format().rate);
    queue_.limit(static_cast<std::uint64_t>(frames) * format().frameSize());
}

void Intake::take(std::span<unsigned char const> block) {
    if (!block.empty()) queue_.push(block.data(), block.size());
    queue_.countAnnounced();
}
