#include "Replay.h"

#include <algorithm>
#include <condition_variable>
#include <cstdio>
#include <exception>
#include <mutex>
#include <utility>

#include "State.h"

namespace sound::service {

namespace {

/// One round of a loop takes no less, whatever the session has.
constexpr double kShortestRound = 0.1;
/// 30 years. What a file puts off for longer than a clock counts does not come sooner.
constexpr double kLongestWait = 1e9;

}  // namespace

Replay::Replay(std::string const& path, Settings settings) : settings_(settings) {
    auto session = tools::readSession(path);
    if (!session.isOfThisInterface) {
        std::fprintf(stderr,
                     "sound-service: %s was recorded with other messages or fields than there are "
                     "now\n",
                     path.c_str());
    }
    State scratch;
    for (auto& message : session.messages) {
        try {
            setState(scratch, message.name, message.arguments);
            messages_.push_back(std::move(message));
        } catch (std::exception const& error) {
            std::fprintf(stderr, "sound-service: %s:%zu: %s; it is left out\n", path.c_str(),
                         message.line, error.what());
        }
    }
}

void Replay::run(std::stop_token const& stop, Tell const& tell) const {
    double const end = messages_.empty() ? 0 : messages_.back().at;
    auto start = std::chrono::steady_clock::now();
    do {
        play(start, stop, tell);
        start = timeOf(start, std::max(end, kShortestRound));
        if (settings_.loop) sleepUntil(start, stop);
    } while (settings_.loop && !stop.stop_requested());
}

void Replay::play(std::chrono::steady_clock::time_point start, std::stop_token const& stop,
                  Tell const& tell) const {
    for (auto const& message : messages_) {
        sleepUntil(timeOf(start, message.at), stop);
        if (stop.stop_requested()) return;
        tell(message.name, message.arguments);
    }
}

std::chrono::steady_clock::time_point Replay::timeOf(std::chrono::steady_clock::time_point start,
                                                     double at) const {
    std::chrono::duration<double> const passed(std::min(at / settings_.speed, kLongestWait));
    return start + std::chrono::duration_cast<std::chrono::steady_clock::duration>(passed);
}

void sleepUntil(std::chrono::steady_clock::time_point time, std::stop_token const& stop) {
    std::mutex mutex;
    std::unique_lock lock(mutex);
    std::condition_variable_any().wait_until(lock, stop, time, [] { return false; });
}

}  // namespace sound::service
