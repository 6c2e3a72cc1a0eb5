#include "log.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "csp/debug.h"

namespace desktop {

void logLine(std::uint32_t levelWord, char const* format, ...) {
    cspDebugLevel_t level{levelWord, 0, 0};
    if (cspDebugCheckLevelGetFrameAndChunk(&level) == 0) return;
    std::array<char, 512> text{};
    va_list arguments;
    va_start(arguments, format);
    // The list has been started, whatever the analyzer says.
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    cspDebugOutput0("%s\n", text.data());
}

}  // namespace desktop
