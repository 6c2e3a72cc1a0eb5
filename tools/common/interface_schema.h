/// @file
/// The sound interface as JSON Schema.
#pragma once

#include "record_json.h"

namespace tools {

/// Derived from the document that describeInterface() makes.
Json interfaceSchema();

}  // namespace tools
