#include "AudioTrack.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "errors.h"
#include "service_address.h"

namespace sound::control {

namespace {

constexpr std::size_t kBufferSize = 64U << 10;

}  // namespace

AudioTrack::AudioTrack(AudioOptions const& options, AudioIntake::Mark mark)
    : options_(options),
      intake_(std::make_shared<AudioIntake>(options.format, std::move(mark))),
      // A wrong path shows at once, and not when there is sound.
      output_(tools::makeWavOutput(options.path, options.format)),
      buffer_(kBufferSize) {}

AudioTrack::~AudioTrack() {
    if (source_ != nullptr) source_->remove(intake_);
}

void AudioTrack::start() {
    // The agent would look for it at its own.
    tools::useServiceAddress(tools::serviceAddress());
    source_ = &tools::SoundSource::start({"soundctl", "--debug-level=" + options_.debugLevel});
    source_->add(intake_);
}

std::function<void(bool)> AudioTrack::watcher() const {
    return [intake = intake_](bool /*isPresent*/) { intake->interrupt(); };
}

void AudioTrack::write() {
    if (!intake_->hasBegun()) return;
    if (!formatWatch_) begin();
    auto const frameSize = intake_->format().frameSize();
    auto& queue = intake_->queue();
    while (auto const size = std::min(buffer_.size(), queue.available()) / frameSize * frameSize) {
        bytes_ += output_->write({buffer_.data(), queue.pop(buffer_.data(), size)});
    }
    tellNews();
}

/// Only now is it known what the sound is.
void AudioTrack::begin() {
    auto const& format = intake_->format();
    output_.reset();
    output_ = tools::makeWavOutput(options_.path, format);
    formatWatch_.emplace(options_.formatIsGiven ? options_.format : format, "--rate and --channels",
                         *intake_);
}

void AudioTrack::tellNews() {
    auto const news = formatWatch_->news();
    if (!news) return;
    std::fprintf(stderr, "soundctl: %s\n", news->c_str());
    isDoubtful_ = true;
}

void AudioTrack::finish() {
    std::exchange(source_, nullptr)->remove(intake_);
    write();
    output_->finish();
    std::fprintf(stderr, "soundctl: %.3f s of sound, %u blocks lost\n",
                 static_cast<double>(bytes_) / intake_->format().bytesPerSecond(),
                 intake_->queue().lost());
    if (bytes_ == 0) throw tools::Failure("no sound was heard; there is none in " + options_.path);
    if (!isDoubtful_) return;
    throw tools::Failure(options_.path + " is not the sound that was asked for, or not all of it");
}

}  // namespace sound::control
