/// @file
/// What the transport has to know of messages that belong to a stream.
#pragma once

#include "frame/lmq.h"

namespace desktop {

/// Declares a stream to the client side of this process: a command that switches it on and off,
/// and the notification that announces each piece of it.
///
/// That it is on is a state, not an event: the last such command that this process has sent, or
/// has tried to send, goes out again, ahead of all others, in each new session with a service. And
/// what a session announced is worth nothing without it: when the session ends, announcements that
/// have not been delivered are dropped.
///
/// Declaring a stream again changes nothing. Any thread.
/// @return 0, or -ENOMEM
std::int32_t declareStream(frameLmqMessageHeader_t const& command,
                           frameLmqMessageHeader_t const& announcement);

}  // namespace desktop
