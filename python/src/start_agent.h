#pragma once

#include "SoundSource.h"

namespace sound::python {

/// Starts the agent in this process, once. Afterwards the service's address is settled.
/// @throws tools::Failure when it does not start
tools::SoundSource& startAgent();

bool agentHasStarted();

}  // namespace sound::python
