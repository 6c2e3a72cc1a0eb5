// The desktop platform's own lines in the debug log.
#pragma once

#include <cstdint>

namespace desktop {

// Level words of component 1, the framework.
inline constexpr std::uint32_t kFrameError = 0x000103E8;
inline constexpr std::uint32_t kFrameWarning = 0x00010BB8;
inline constexpr std::uint32_t kFrameInfo = 0x00010FA0;

/// Writes a line when the log wants it.
[[gnu::format(printf, 2, 3)]] void logLine(std::uint32_t levelWord, char const* format, ...);

}  // namespace desktop
