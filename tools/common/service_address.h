/// @file
/// Where the sound service is.
#pragma once

#include <string>

namespace tools {

/// @return the address at which this process expects the sound service, "host:port"
std::string serviceAddress();

}  // namespace tools
