/// @file
/// What soundctl can do. Each throws tools::UsageError or tools::Failure.
#pragma once

#include <string>
#include <vector>

namespace sound::control {

/// Prints the messages whose names contain @p pattern, whatever its case.
void list(std::string const& pattern);

struct SendOptions {
    std::string command;
    std::vector<std::string> values;
    std::string json;  ///< an object, "-" to read it from standard input, empty to use the values
    std::string expect;
    double timeout = 1;
};
void send(SendOptions const& options);

struct MonitorOptions {
    std::vector<std::string> names;  ///< of the notifications to print; all when there is none
    bool json = false;
};
/// Prints notifications until SIGINT or SIGTERM.
void monitor(MonitorOptions const& options);

/// Does what a file says, one JSON object a line, "-" being standard input.
void batch(std::string const& path);

/// Prints a completion script.
/// @param shell  "bash" or "zsh"
void completion(std::string const& shell);

}  // namespace sound::control
