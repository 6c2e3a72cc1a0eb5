/// @file
/// How the sound service's command interface is found in the process.
#pragma once

namespace sound {

/// The name under which the proxy publishes its ServiceInterface.
inline constexpr char kServiceInterfaceName[] = "tarvo.lm.interfaces.sound";

}  // namespace sound
