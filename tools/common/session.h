/// @file
/// Recorded sessions: what was heard from a service, and when. The manual page audvik-json(5)
/// describes the file.
#pragma once

#include <chrono>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "message_list.h"
#include "stream_format.h"

namespace tools {

/// Writes a session as it is heard.
class SessionWriter {
public:
    /// @throws std::runtime_error when the file cannot be written
    explicit SessionWriter(std::string const& path);

    /// Adds a notification that is heard now.
    /// @throws std::runtime_error when the file cannot be written
    void add(sound::reflection::Message const& notification, Json const& arguments);

    /// Adds that a frame of the session's sound is heard now.
    /// @throws std::runtime_error when the file cannot be written
    void addAudio(std::string const& path, std::uint64_t frame, StreamFormat const& format);

private:
    void writeNow(Json const& what);
    void write(Json const& line);

    std::string path_;
    std::ofstream file_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

struct SessionMessage {
    double at;         ///< in seconds from the session's start
    std::size_t line;  ///< in the file, from 1
    std::string name;  ///< of the notification, which the message list may not have
    Json arguments;
};

struct Session {
    bool isOfThisInterface;  ///< or else some messages may not be what the list has
    std::vector<SessionMessage> messages;
};

/// @throws UsageError that says what is wrong with the file
Session readSession(std::string const& path);

}  // namespace tools
