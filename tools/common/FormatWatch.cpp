#include "FormatWatch.h"

#include <utility>

namespace tools {

namespace {

constexpr std::chrono::milliseconds kLookEvery{500};

}  // namespace

FormatWatch::FormatWatch(StreamFormat const& known, std::string how, SoundIntake const& intake)
    : intake_(intake), known_(known), how_(std::move(how)) {}

std::optional<std::string> FormatWatch::news() {
    auto const now = std::chrono::steady_clock::now();
    if (now - looked_ < kLookEvery) return std::nullopt;
    looked_ = now;
    return intake_.formatIsFromService() ? newsFromService() : newsFromPace();
}

/// Another service may have taken the place of the one that the sound began with.
std::optional<std::string> FormatWatch::newsFromService() {
    auto const played = readStreamFormat(intake_.pipe()).value_or(known_);
    auto const known = std::exchange(known_, played);
    if (played == known) return std::nullopt;
    return "the sound service plays " + played.text() + ", not " + known.text() +
           "; the sound is taken for " + intake_.format().text();
}

std::optional<std::string> FormatWatch::newsFromPace() {
    auto const contradiction = intake_.paceContradiction();
    if (contradiction.empty() || std::exchange(paceDoubted_, true)) return std::nullopt;
    return "the sound is taken for " + intake_.format().text() + ", but " + contradiction +
           "; say with " + how_ + " what it is";
}

}  // namespace tools
