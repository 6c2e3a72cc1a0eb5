#pragma once

#include <memory>
#include <string>

#include "Options.h"
#include "SoundOutput.h"

/// Begins what the options ask for.
/// @param standardOutput  the descriptor that stands for it
/// @throws std::runtime_error when it cannot be created
std::unique_ptr<tools::SoundOutput> makeOutput(Options const& options,
                                               tools::StreamFormat const& format,
                                               int standardOutput);

/// Where bytes go one after the other.
struct Sink {
    int descriptor;
    std::string name;  ///< for messages
};

/// The samples as they come.
std::unique_ptr<tools::SoundOutput> makeRawOutput(Sink sink);

/// An AU stream: a header that says rate and channels but no length, so that it can be written
/// into a pipe, and the samples.
std::unique_ptr<tools::SoundOutput> makeAuOutput(Sink sink, tools::StreamFormat const& format);
