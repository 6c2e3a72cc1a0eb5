#pragma once

#include <chrono>
#include <deque>
#include <string>
#include <utility>

#include "Client.h"
#include "MqttClient.h"

/// Sends commands that come from the broker to the sound service. Nothing is queued here: what the
/// service does not take in bounded time is refused, and so is at once what comes right after it.
class Commands {
public:
    /// @param set  the set's name, for the answers
    Commands(sound::reflection::Client& client, std::string set)
        : client_(client), set_(std::move(set)) {}

    /// Sends a command, unless the same one has come before.
    /// @param name     the command's
    /// @param message  its arguments, and by whom and which of his commands it is
    /// @return the answer: the command as it was sent, or an "error"
    std::string take(std::string const& name, tools::MqttMessage const& message);

private:
    void send(sound::reflection::Command const& command, sound::reflection::Request const& request);

    sound::reflection::Client& client_;
    std::string const set_;
    std::chrono::steady_clock::time_point refusedUntil_;
    std::deque<std::pair<std::string, std::string>> answered_;  ///< the last ones
};
