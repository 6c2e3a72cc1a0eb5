#include "SoundIntake.h"

namespace tools {

void SoundIntake::announce(std::string const& pipe, std::span<unsigned char const> block) {
    if (!hasBegun_) {
        if (auto const note = readStreamFormat(pipe)) {
            format_ = *note;
            formatIsFromService_ = true;
        }
        pipe_ = pipe;
        begin();
        hasBegun_ = true;
    }
    if (!block.empty() && !formatIsFromService_) checkPace(block.size());
    take(block);
}

void SoundIntake::checkPace(std::size_t size) {
    pace_.add(size, PaceCheck::Clock::now());
    if (paceContradicts_) return;
    auto const contradiction = pace_.contradiction(format_);
    if (!contradiction) return;
    paceContradiction_ = *contradiction;
    paceContradicts_ = true;
}

}  // namespace tools
