// Writes a line of the debug log, formatting nothing unless the log wants it.
#pragma once

#include <cstring>

#include "csp/debug.h"

/// Logs "<file>:<line>:<function>(): <text>" at the level whose word is given.
/// @param FUNCTION  the operation that the line speaks of
/// @param TEXT      a format literal, followed by its values
#define AUDVIK_DEBUG_LINE(LEVEL_WORD, FUNCTION, TEXT, ...)                     \
    do {                                                                       \
        cspDebugLevel_t audvikLevel{LEVEL_WORD, 0, 0};                         \
        if (cspDebugCheckLevelGetFrameAndChunk(&audvikLevel) != 0) {           \
            cspDebugOutput0("%s:%d:%s(): " TEXT, basename(__FILE__), __LINE__, \
                            FUNCTION __VA_OPT__(, ) __VA_ARGS__);              \
        }                                                                      \
    } while (false)
