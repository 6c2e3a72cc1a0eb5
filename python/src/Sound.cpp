#include "Sound.h"

namespace sound::python {

std::optional<std::string> Sound::news() {
    if (!watch_) watch_.emplace(isGiven_ ? told_ : format(), "rate= and channels=", *this);
    return watch_->news();
}

void Sound::begin() {
    room_ = static_cast<std::size_t>(seconds_ * format().bytesPerSecond());
}

void Sound::take(std::span<unsigned char const> block) {
    if (block.empty()) {
        ++lost_;
        return;
    }
    Samples frames = std::move(rest_);
    frames.insert(frames.end(), block.begin(), block.end());
    auto const whole = frames.size() / format().frameSize() * format().frameSize();
    auto const end = frames.begin() + static_cast<std::ptrdiff_t>(whole);
    rest_.assign(end, frames.end());
    frames.erase(end, frames.end());
    if (whole == 0 || mailbox_.push(std::move(frames), whole, room_) || mailbox_.isClosed()) return;
    ++overruns_;
    ++lost_;
}

}  // namespace sound::python
