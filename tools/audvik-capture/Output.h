#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "Options.h"
#include "stream_format.h"

/// Where the recording goes.
class Output {
public:
    virtual ~Output() = default;

    /// Writes samples. Only the last call may end within a frame.
    /// @return how many bytes became part of the recording
    /// @throws std::runtime_error that says what went wrong
    virtual std::size_t write(std::span<unsigned char const> samples) = 0;

    /// Completes the recording.
    /// @throws std::runtime_error that says what went wrong
    virtual void finish() = 0;
};

/// Begins what the options ask for.
/// @param standardOutput  the descriptor that stands for it
/// @throws std::runtime_error when it cannot be created
std::unique_ptr<Output> makeOutput(Options const& options, tools::StreamFormat const& format,
                                   int standardOutput);

/// Where bytes go one after the other.
struct Sink {
    int descriptor;
    std::string name;  ///< for messages
};

/// The samples as they come.
std::unique_ptr<Output> makeRawOutput(Sink sink);

/// An AU stream: a header that says rate and channels but no length, so that it can be written
/// into a pipe, and the samples.
std::unique_ptr<Output> makeAuOutput(Sink sink, tools::StreamFormat const& format);

/// A WAV file.
/// @throws std::runtime_error when it cannot be created
std::unique_ptr<Output> makeWavOutput(std::string const& path, tools::StreamFormat const& format);
