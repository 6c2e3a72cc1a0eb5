/// @file
/// Suggestions for mistyped names.
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace tools {

/// The candidate that takes the fewest edits to become @p name, upper and lower case being the
/// same; the first of several. Empty when there is none that resembles it.
std::string nearest(std::string_view name, std::span<std::string_view const> candidates);

}  // namespace tools
