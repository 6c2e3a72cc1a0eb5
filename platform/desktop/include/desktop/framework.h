/// @file
/// What the desktop framework offers beyond the platform's interface.
#pragma once

#include <string>
#include <string_view>

namespace desktop {

/// The address of the sound service: what AUDVIK_SERVICE says; or else LMQR2_UDPHOST, which
/// audioCB_init() sets; or else 127.0.0.1:12321.
std::string serviceAddress();

/// Looks up an interface that a component has published with registerInterface().
/// @return the pointer as it was registered, or null when nothing has that name. Any thread.
void* findInterface(std::string_view name);

/// Takes all members down: stops them, withdraws their receivers, waits until none is running,
/// and destroys them. When a receiver is still running after a short wait, or this is called from
/// inside one, the members are left as they are, to end with the process. Runs by itself when the
/// process exits; members can be started again afterwards.
void stopAppMembers();

}  // namespace desktop
