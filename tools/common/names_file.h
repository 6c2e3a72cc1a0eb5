/// @file
/// Names, units and ranges of fields, which the interface itself only numbers: what an integrator
/// knows of his set. The manual page audvik-json(5) describes the file.
#pragma once

#include <string>

namespace tools {

/// Has all programs' code in this process know what a file says. Once, before there are threads.
/// @throws UsageError that says what is wrong with the file
void useNamesFile(std::string const& path);

}  // namespace tools
