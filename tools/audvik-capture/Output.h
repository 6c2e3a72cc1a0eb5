#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

/// How samples are laid out: 16 bits each, little-endian, channel by channel.
struct Format {
    int rate;
    int channels;

    std::size_t frameSize() const {
        return sizeof(std::int16_t) * static_cast<std::size_t>(channels);
    }
};

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

/// Where bytes go one after the other.
struct Sink {
    int descriptor;
    std::string name;  ///< for messages
};

/// The samples as they come.
std::unique_ptr<Output> makeRawOutput(Sink sink);

/// An AU stream: a header that says rate and channels but no length, so that it can be written
/// into a pipe, and the samples.
std::unique_ptr<Output> makeAuOutput(Sink sink, Format const& format);

/// A WAV file.
/// @throws std::runtime_error when it cannot be created
std::unique_ptr<Output> makeWavOutput(std::string const& path, Format const& format);
