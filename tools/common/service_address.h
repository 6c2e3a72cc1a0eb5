/// @file
/// Where the sound service is.
#pragma once

#include <string>

namespace tools {

/// @return the address at which this process expects the sound service, "host:port"
std::string serviceAddress();

/// Has this process use another one, whatever its environment and the library say.
void useServiceAddress(std::string const& address);

}  // namespace tools
