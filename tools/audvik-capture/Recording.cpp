#include "Recording.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <thread>

#include "record_json.h"
#include "service_address.h"

using std::chrono::steady_clock;

namespace {

/// How long a service may be silent before it is asked whether it is still there.
constexpr std::chrono::seconds kSilence{1};
constexpr std::chrono::milliseconds kNap{2};
constexpr std::chrono::milliseconds kShowLevelsEvery{100};

std::atomic<bool> stopping = false;
static_assert(std::atomic<bool>::is_always_lock_free, "it is set in a signal handler");

}  // namespace

void stopRecording() {
    stopping = true;
}

Recording::Recording(Options const& options, int rawOutput)
    : options_(options),
      intake_(std::make_shared<Intake>(options.format, options.duration)),
      queue_(intake_->queue()),
      format_(options.format),
      rawOutput_(rawOutput),
      service_(
          tools::SoundSource::start({"audvik-capture", "--debug-level=" + options.debugLevel})),
      showsLevels_(isatty(STDERR_FILENO) != 0) {
    service_.add(intake_);
}

bool Recording::run() {
    bool succeeded = false;
    try {
        succeeded = record();
    } catch (std::exception const& error) {
        say(error.what());
    }
    if (output_ != nullptr) printSummary();
    return succeeded;
}

bool Recording::record() {
    if (!waitForService()) return stopping;
    soundHeard_ = steady_clock::now();
    bool present = true;
    while (present && !stopping && !isIdle()) {
        bool const complete = queue_.complete();
        bool const moved = hasBegun() && moveSamples();
        showLevels();
        if (auto const news = formatWatch_ ? formatWatch_->news() : std::nullopt) say(*news);
        if (moved) continue;
        if (complete) break;
        present = checkService();
        std::this_thread::sleep_for(kNap);
    }
    queue_.close();
    if (!serviceGone_) service_.disable();
    if (!hasBegun()) begin();  // with a recording of nothing
    drain();
    output_->finish();
    return present;
}

/// Not before there is sound: only then its format is known, and a recording that cannot begin must
/// not cost an earlier one.
bool Recording::hasBegun() {
    if (output_ == nullptr && intake_->hasBegun()) {
        format_ = intake_->format();
        begin();
        formatWatch_.emplace(options_.formatIsGiven ? options_.format : format_,
                             "--rate and --channels", *intake_);
    }
    return output_ != nullptr;
}

void Recording::begin() {
    constexpr std::size_t kBufferSize = 64U << 10;
    buffer_.resize(kBufferSize / format_.frameSize() * format_.frameSize());
    meter_.emplace(format_);
    output_ = makeOutput(options_, format_, rawOutput_);
}

/// On a line of its own.
void Recording::say(std::string const& what) const {
    std::fprintf(stderr, "%saudvik-capture: %s\n", showsLevels_ ? "\n" : "", what.c_str());
}

/// Says so when there has been no sound for as long as the user wants to wait.
bool Recording::isIdle() const {
    std::chrono::duration<double> const silence = steady_clock::now() - soundHeard_;
    if (options_.idle == 0 || silence.count() < options_.idle) return false;
    say("nothing has come for " + tools::toText(options_.idle) + " s");
    return true;
}

/// Asks for sound until a service takes the request.
/// @return false when there is none and it is not to be waited for
bool Recording::waitForService() {
    bool told = false;
    while (!service_.enable()) {
        if (!options_.wait) {
            std::fprintf(stderr,
                         "audvik-capture: no sound service at %s; start one, for example "
                         "sound-service FILE, or let --wait wait for it\n",
                         tools::serviceAddress().c_str());
            return false;
        }
        if (!told) {
            std::fprintf(stderr, "audvik-capture: waiting for a sound service at %s\n",
                         tools::serviceAddress().c_str());
        }
        told = true;
        for (auto const end = steady_clock::now() + kSilence; steady_clock::now() < end;) {
            if (stopping) return false;
            std::this_thread::sleep_for(kNap);
        }
    }
    heard_ = steady_clock::now();
    return true;
}

/// Asks a service that has been silent for a while for sound again, which only tells whether it
/// is there.
/// @return false when it has gone and is not to be waited for
bool Recording::checkService() {
    auto const now = steady_clock::now();
    if (queue_.announced() != heardBlocks_) {
        heardBlocks_ = queue_.announced();
        heard_ = now;
    }
    if (now - heard_ < kSilence) return true;
    bool const present = service_.enable();
    if (present == serviceGone_) {
        say("the sound service at " + tools::serviceAddress() +
            (present ? " is back" : " has gone"));
    }
    serviceGone_ = !present;
    heard_ = steady_clock::now();
    return present || options_.wait;
}

/// Writes some of the samples that have come.
/// @return false when there were none
bool Recording::moveSamples() {
    std::size_t const count = queue_.pop(buffer_.data() + held_, buffer_.size() - held_);
    if (count == 0) return false;
    std::size_t const size = held_ + count;
    held_ = size % format_.frameSize();
    std::span const frames(buffer_.data(), size - held_);
    if (showsLevels_) meter_->add(frames);
    write(frames);
    std::memmove(buffer_.data(), buffer_.data() + frames.size(), held_);
    soundHeard_ = steady_clock::now();
    return true;
}

void Recording::write(std::span<unsigned char const> samples) {
    while (!samples.empty()) {
        std::size_t const written = output_->write(samples);
        bytes_ += written;
        samples = samples.subspan(written);
        if (stopping && !samples.empty()) {
            interrupted_ = true;
            return;
        }
    }
}

/// Writes what has come before the end, unless the end came while the output took nothing.
void Recording::drain() {
    while (!interrupted_ && moveSamples()) {
    }
    if (!interrupted_) bytes_ += output_->write({buffer_.data(), held_});
}

void Recording::showLevels() {
    auto const now = steady_clock::now();
    if (!showsLevels_ || !meter_ || now - shown_ < kShowLevelsEvery) return;
    shown_ = now;
    constexpr std::size_t kTerminalWidth = 79;
    std::string text = std::to_string(seconds());
    text.resize(text.find_first_of(".,") + 2);
    text += " s" + meter_->line();
    text.resize(std::min(text.size(), kTerminalWidth));
    std::fprintf(stderr, "\r%s\x1b[K", text.c_str());
}

double Recording::seconds() const {
    return static_cast<double>(bytes_) / (static_cast<double>(format_.frameSize()) * format_.rate);
}

void Recording::printSummary() const {
    std::fprintf(stderr,
                 "%saudvik-capture: %" PRIu32 " blocks, %" PRIu64 " bytes, %.3f s, %" PRIu32
                 " lost\n",
                 showsLevels_ ? "\n" : "", queue_.taken(), bytes_, seconds(), queue_.lost());
    if (interrupted_) {
        std::fputs("audvik-capture: what came last is missing: nobody read standard output\n",
                   stderr);
    }
    if (queue_.overruns() > 0) {
        std::fprintf(stderr,
                     "audvik-capture: %" PRIu32
                     " of them because %s did not take the samples fast enough\n",
                     queue_.overruns(),
                     options_.output == "-" ? "standard output" : options_.output.c_str());
    }
}
