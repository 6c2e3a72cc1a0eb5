/// @file
/// What libaudvik.so shows to the outside.
#pragma once

/// Marks a symbol that is part of the library's binary interface.
#define AUDVIK_EXPORT __attribute__((visibility("default")))
