#pragma once

#include "Client.h"

namespace sound::control {

/// Hands notifications to @p sink, and says when the service comes and goes, until SIGINT or
/// SIGTERM arrives or the reader of standard output has gone.
/// @throws tools::Failure
void listenUntilEnded(reflection::NotificationSink const& sink);

}  // namespace sound::control
