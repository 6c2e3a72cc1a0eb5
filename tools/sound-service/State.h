/// @file
/// What the service has to tell.
#pragma once

#include <string>

#include "sound/message_records.h"

namespace sound::service {

/// The arguments with which each notification is sent the next time.
struct State {
#define AUDVIK_NOTIFICATION(NAME, ...) ArgumentsOf<MessageId::on##NAME##Notify> on##NAME##Notify{};
#include "sound/messages.def"
};

/// Reads a state from a file: {"onMuteInfoNotify": {"field1": 1, ...}, ...}. What it does not
/// mention is zero or empty.
/// @throws std::runtime_error  says what is wrong, and where
State readState(std::string const& path);

}  // namespace sound::service
