#pragma once

#include "AudioTrack.h"
#include "Client.h"

namespace sound::control {

/// Hands notifications to @p sink, and says when the service comes and goes, until SIGINT or
/// SIGTERM arrives or the reader of standard output has gone.
/// @param audio  what is to be written meanwhile, if anything
/// @throws tools::Failure
void listenUntilEnded(reflection::NotificationSink const& sink, AudioTrack* audio = nullptr);

}  // namespace sound::control
