/// @file
/// Plays a recorded session back.
#pragma once

#include <chrono>
#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "session.h"

namespace sound::service {

/// Sends what a session has when its time has come.
class Replay {
public:
    struct Settings {
        double speed = 1;
        bool loop = false;
    };
    using Tell = std::function<void(std::string const& name, tools::Json const& arguments)>;

    /// Leaves out what the message list does not know or take, and says so on standard error.
    /// @throws tools::UsageError for a file that is no session
    Replay(std::string const& path, Settings settings);

    /// Plays once, or again and again, until @p stop is requested.
    void run(std::stop_token const& stop, Tell const& tell) const;

private:
    void play(std::chrono::steady_clock::time_point start, std::stop_token const& stop,
              Tell const& tell) const;
    std::chrono::steady_clock::time_point timeOf(std::chrono::steady_clock::time_point start,
                                                 double at) const;

    Settings settings_;
    std::vector<tools::SessionMessage> messages_;
};

/// Waits, unless a stop is requested before the time has come.
void sleepUntil(std::chrono::steady_clock::time_point time, std::stop_token const& stop);

}  // namespace sound::service
