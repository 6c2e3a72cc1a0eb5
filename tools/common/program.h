/// @file
/// What the programs' main() functions have in common.
#pragma once

#include <functional>

namespace tools {

/// Runs a program and prints the error that it ends with.
/// @return its exit status: 0, 2 after a UsageError, 1 after any other exception
int runProgram(char const* name, std::function<void()> const& program);

/// Takes the signals that end a program from this thread and from those that it starts.
/// @return a descriptor that can be read once one has come, for whoever waits
/// @throws Failure when there is none
int takeEndingSignals();

}  // namespace tools
