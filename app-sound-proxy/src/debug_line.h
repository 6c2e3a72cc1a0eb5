// Writes a line of the debug log, formatting nothing unless the log wants it.
#pragma once

#include <cstdint>
#include <cstring>

#include "csp/debug.h"

namespace sound {

/// Out of line: there are many that ask.
[[gnu::noinline]] inline bool isLogged(std::uint32_t levelWord) {
    cspDebugLevel_t level{levelWord, 0, 0};
    return cspDebugCheckLevelGetFrameAndChunk(&level) != 0;
}

}  // namespace sound

/// Logs "<file>:<line>:<function>(): <text>" at the level whose word is given.
/// @param FUNCTION  the operation that the line speaks of
/// @param TEXT      a format literal, followed by its values
#define AUDVIK_DEBUG_LINE(LEVEL_WORD, FUNCTION, TEXT, ...)                     \
    do {                                                                       \
        if (sound::isLogged(LEVEL_WORD)) {                                     \
            cspDebugOutput0("%s:%d:%s(): " TEXT, basename(__FILE__), __LINE__, \
                            FUNCTION __VA_OPT__(, ) __VA_ARGS__);              \
        }                                                                      \
    } while (false)
