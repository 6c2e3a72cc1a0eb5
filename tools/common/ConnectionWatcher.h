/// @file
/// Whether this process is registered with a sound service.
#pragma once

#include <functional>

namespace tools {

/// Starts to watch. To miss nothing, call it before the process connects.
/// @param changed  called whenever there is a connection or none any more, on the thread that
///                 delivers notifications, in order with these
/// @throws Failure when that is not possible
void watchConnection(std::function<void(bool isConnected)> changed = nullptr);

/// @return whether there is a connection to the service now
bool isConnected();

/// @throws Failure when there is none
void requireService();

}  // namespace tools
