/// @file
/// Word to systemd, for a program that runs as one of its services; nothing where there is none.
#pragma once

#include <chrono>
#include <string>

namespace tools {

/// @param state  "READY=1", "WATCHDOG=1", "STOPPING=1", as sd_notify(3) has them
void notifySupervisor(std::string const& state);

/// @return how often to say "WATCHDOG=1"; very seldom when nobody waits for it
std::chrono::milliseconds watchdogInterval();

}  // namespace tools
