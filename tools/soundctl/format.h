/// @file
/// Notifications as lines of output.
#pragma once

#include <string>
#include <string_view>

#include "record_json.h"

namespace sound::control {

/// "onVolumeInfoNotify field1=1 field2=30".
std::string readableLine(std::string_view notification, tools::Json const& arguments);

}  // namespace sound::control
