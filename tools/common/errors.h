/// @file
/// How the programs fail.
#pragma once

#include <stdexcept>

namespace tools {

/// What the user asked for cannot be understood. Ends the program with status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What the user asked for did not work. Ends the program with status 1.
class Failure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace tools
