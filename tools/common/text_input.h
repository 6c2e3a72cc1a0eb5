/// @file
/// Reading text from outside, which may be endless.
#pragma once

#include <cstddef>
#include <istream>
#include <string>

namespace tools {

/// The most that a document, or one line of several, may have, in bytes: far more than any message
/// needs.
inline constexpr std::size_t kLongestText = std::size_t{1} << 20;

/// Reads a whole document.
/// @throws std::runtime_error when it is longer than kLongestText
std::string readText(std::istream& input);

/// Reads a line, without its end.
/// @return false when there is none any more
/// @throws std::runtime_error when it is longer than kLongestText
bool readLine(std::istream& input, std::string& line);

}  // namespace tools
