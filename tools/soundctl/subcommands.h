/// @file
/// What soundctl can do. Each throws tools::UsageError or tools::Failure.
#pragma once

#include <string>
#include <vector>

#include "stream_format.h"

namespace sound::control {

struct ListOptions {
    std::string pattern;  ///< a part of their names, whatever its case
    bool json = false;
};
/// Prints commands and notifications.
void list(ListOptions const& options);

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

struct StateOptions {
    std::vector<std::string> names;  ///< of the notifications to wait for
    double timeout = 1;              ///< in seconds
    bool json = false;
};
/// Prints the last of each notification that is heard until all that are named have been, or time
/// is up.
void state(StateOptions const& options);

struct AudioOptions {
    std::string path;                      ///< of a WAV file; empty for none
    tools::StreamFormat format{48000, 2};  ///< where the service does not say it
    bool formatIsGiven = false;            ///< on the command line, and not only as a default
    std::string debugLevel;
};
struct RecordOptions {
    std::string path;
    AudioOptions audio;
};
/// Records a session into a file, and if wanted its sound into another, until SIGINT or SIGTERM.
void record(RecordOptions const& options);

struct DiffOptions {
    std::string first, second;  ///< paths of recorded sessions
    double tolerance = 0.1;     ///< in seconds
};
/// Prints what only one of two sessions has, and fails if there is anything.
void diff(DiffOptions const& options);

struct BatchOptions {
    std::string path;     ///< of a file of JSON lines, "-" for standard input
    bool stream = false;  ///< do each line as it comes, and answer it
};
/// Does what a file says.
void batch(BatchOptions const& options);

/// Prints a completion script.
/// @param shell  "bash" or "zsh"
void completion(std::string const& shell);

}  // namespace sound::control
