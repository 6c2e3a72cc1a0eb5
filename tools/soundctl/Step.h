/// @file
/// One thing to do: send a command and, if wanted, wait for what the service has to say.
#pragma once

#include <chrono>
#include <optional>

#include "Client.h"
#include "message_list.h"

namespace sound::control {

/// In seconds: a day.
inline constexpr double kLongestTimeout = 86400;

struct Step {
    reflection::Command const* command;
    reflection::Request request;
    reflection::Notification const* expected = nullptr;  ///< the notification to wait for, if any
    std::chrono::duration<double> timeout = std::chrono::seconds(1);
};

struct SendOptions;

/// What the user wants to have sent.
/// @throws tools::UsageError
Step stepOf(SendOptions const& options);

/// @return the arguments of the expected notification, if there is one
/// @throws tools::Failure when the command cannot be sent or the notification does not come in time
std::optional<tools::Json> run(reflection::Client& client, Step const& step);

}  // namespace sound::control
