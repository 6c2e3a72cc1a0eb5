#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "stream_format.h"

namespace tools {

/// Where recorded sound goes.
class SoundOutput {
public:
    virtual ~SoundOutput() = default;

    /// Writes samples. Only the last call may end within a frame.
    /// @return how many bytes became part of the recording
    /// @throws std::runtime_error that says what went wrong
    virtual std::size_t write(std::span<unsigned char const> samples) = 0;

    /// Completes the recording.
    /// @throws std::runtime_error that says what went wrong
    virtual void finish() = 0;
};

/// A WAV file, whose header is right after each write.
/// @throws std::runtime_error when it cannot be created
std::unique_ptr<SoundOutput> makeWavOutput(std::string const& path, StreamFormat const& format);

}  // namespace tools
