/// @file
/// What the programs' main() functions have in common.
#pragma once

#include <csignal>
#include <functional>

namespace tools {

/// Runs a program and prints the error that it ends with.
/// @return its exit status: 0, 2 after a UsageError, 1 after any other exception
int runProgram(char const* name, std::function<void()> const& program);

/// Blocks the signals that end a program, in this thread and in those that it starts, for one of
/// them to wait for.
sigset_t blockEndingSignals();

}  // namespace tools
