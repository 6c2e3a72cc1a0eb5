/// @file
/// The platform's debug log, as three C functions.
///
/// A caller checks a message's level first and formats nothing when the check refuses it:
/// @code
/// cspDebugLevel_t level = CSP_DEBUG_LEVEL_INIT(kCspDebugWarning);
/// if (cspDebugCheckLevelGetFrameAndChunk(&level) != 0)
///     cspDebugOutput0("%s:%d:%s(): no such client\n", basename(__FILE__), __LINE__, __func__);
/// @endcode
#pragma once

#include <cstdint>

/// A message's level. The level word holds the component's code in its high 16 bits and the
/// severity in its low 16 (1000 error, 3000 warning, 4000 info, 5000 trace). The other two words
/// are zero before the check, which may fill them for its own use.
struct cspDebugLevel_t {
    std::uint32_t levelWord;
    std::uint32_t frame;
    std::uint32_t chunk;
};

/// Level words of this library's component.
inline constexpr std::uint32_t kCspDebugError = 0x00AF03E8;
inline constexpr std::uint32_t kCspDebugWarning = 0x00AF0BB8;
inline constexpr std::uint32_t kCspDebugInfo = 0x00AF0FA0;
inline constexpr std::uint32_t kCspDebugTrace = 0x00AF1388;
/// A warning of component 1, the framework itself.
inline constexpr std::uint32_t kCspDebugFrameWarning = 0x00010BB8;

extern "C" {

/// Prepares the log. May be called again; the last call holds.
/// @param argc  number of words in @p argv
/// @param argv  the host's command line, from which the log may take its threshold; neither
///              changed nor kept. May be null when @p argc is 0.
/// @return 0, or a negative errno value when the log could not be prepared; it is usable all
///         the same, with its defaults.
std::int32_t cspDebugInit(int argc, char** argv);

/// Says whether a message of this level is to be written. Thread-safe, and cheap when it is not.
/// @param level  a writable copy of the message's level
/// @return non-zero when the caller is to write the message with cspDebugOutput0(), as its next
///         call of the log on the same thread; 0 when it is to skip it.
std::int32_t cspDebugCheckLevelGetFrameAndChunk(cspDebugLevel_t* level);

/// Writes one line. Thread-safe; lines of different threads do not mix.
/// @param format  a printf format ending in a newline. By convention it begins with
///                "%s:%d:%s(): ": source file's base name, line and function.
void cspDebugOutput0(char const* format, ...) __attribute__((format(printf, 1, 2)));
}
