/// @file
/// Messages, and the interface as a whole, as JSON. The manual page audvik-json(5) describes both.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "message_list.h"

namespace tools {

/// An identifier as all programs write it: "0x28671236".
std::string idText(std::uint32_t id);

/// What every line that tells of something begins with: {"time": seconds since 1970}.
Json timedLine();

/// A message that has just been sent or received, as one line.
/// @param kind  "command" or "notification"
Json messageLine(std::string_view kind, std::string_view name, std::uint32_t id, Json arguments);

inline Json notificationLine(sound::reflection::Message const& notification, Json arguments) {
    return messageLine("notification", notification.name, notification.id, std::move(arguments));
}

/// The messages whose names contain @p pattern, whatever its case: identifiers, fields, types and
/// ranges.
Json describeInterface(std::string_view pattern);

/// A number that changes whenever a message or a field does, as 16 hexadecimal digits.
std::string interfaceFingerprint();

}  // namespace tools
