/// @file
/// Whether this process is registered with a sound service.
#pragma once

namespace sound::control {

/// Starts to watch. To miss nothing, call it before the process connects.
/// @throws tools::Failure when that is not possible
void watchConnection();

/// @return whether there is a connection to the service now
bool isConnected();

}  // namespace sound::control
