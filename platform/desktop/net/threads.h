// Threads of the transport.
#pragma once

#include <functional>
#include <thread>

namespace desktop {

/// Starts a thread that takes none of the host's signals.
std::thread startThread(char const* name, std::function<void()> body);

}  // namespace desktop
