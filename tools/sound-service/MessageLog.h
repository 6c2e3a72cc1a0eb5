/// @file
/// The log of messages, for scripts.
#pragma once

#include <mutex>

#include "fields.h"
#include "frame/message_meta.h"
#include "sound/message_records.h"

namespace sound::service {

/// Writes each message as one line of JSON to standard output, when switched on. Thread-safe.
class MessageLog {
public:
    explicit MessageLog(bool on) : on_(on) {}

    /// Whether anything is written. What it would be need not be found out otherwise.
    bool isOn() const { return on_; }

    /// @param kind    "command" or "notification"
    /// @param client  whom it came from or goes to; null for all
    void write(char const* kind, char const* name, MessageId id, frame::TransportInfo const* client,
               tools::Fields const& arguments);

private:
    bool const on_;
    std::mutex mutex_;
};

}  // namespace sound::service
