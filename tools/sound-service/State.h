/// @file
/// What the service has to tell.
#pragma once

#include <string>

#include "record_json.h"
#include "sound/message_records.h"

namespace sound::service {

/// The arguments with which each notification is sent the next time.
struct State {
#define AUDVIK_NOTIFICATION(NAME, ...) ArgumentsOf<MessageId::on##NAME##Notify> on##NAME##Notify{};
#include "sound/messages.def"
};

/// Sets what a notification tells. What the arguments do not mention is zero or empty.
/// @throws std::runtime_error  says what is wrong
void setState(State& state, std::string const& name, tools::Json const& arguments);

/// Reads a state from a file: {"onMuteInfoNotify": {"field1": 1, ...}, ...}. What it does not
/// mention is zero or empty.
/// @throws std::runtime_error  says what is wrong, and where
State readState(std::string const& path);

}  // namespace sound::service
