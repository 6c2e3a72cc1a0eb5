/// @file
/// Notifications as lines of output.
#pragma once

#include <string>

#include "message_list.h"

namespace sound::control {

/// "onVolumeInfoNotify field1=1 field2=30", or with the names that the user has given.
/// @throws tools::Json::exception for arguments that are not the notification's
std::string readableLine(reflection::Message const& notification, tools::Json const& arguments);

}  // namespace sound::control
