/// @file
/// What kind of samples a stream of sound has. Nothing in the sound interface tells it, but a sound
/// service on the same machine leaves a note beside its pipes, and the pace of the blocks betrays
/// who is wrong about it.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tools {

/// Samples of 16 bits, little-endian, channel by channel.
struct StreamFormat {
    int rate;      ///< frames per second, from 1 to kHighestRate
    int channels;  ///< from 1 to kMostChannels

    std::size_t frameSize() const;
    double bytesPerSecond() const;

    /// "48000 Hz, 2 channels"
    std::string text() const;

    bool operator==(StreamFormat const&) const = default;
};

inline constexpr int kHighestRate = 768000;
inline constexpr int kMostChannels = 32;

/// Leaves the note: {"rate": 48000, "channels": 2} in the file "format".
/// @param folder  where the service's pipes lie
/// @throws std::runtime_error when it cannot be written
void writeStreamFormat(std::string const& folder, StreamFormat const& format);

/// Reads the note beside a pipe. Never waits.
/// @return nothing when there is none, or none that makes sense
std::optional<StreamFormat> readStreamFormat(std::string const& pipe);

/// Compares the pace of a stream's blocks with what they are taken for. A service that plays as
/// fast as it can, or stops in between, does not tell the pace.
class PaceCheck {
public:
    using Clock = std::chrono::steady_clock;

    /// Takes a block that has come at @p time.
    void add(std::size_t size, Clock::time_point time);

    /// @return nothing when the pace of the last two seconds is that of the format, to 3 %, or not
    ///         known; or else what it says instead:
    ///         "the pace is that of 22050 Hz, 1 channel, or 11025 Hz, 2 channels"
    std::optional<std::string> contradiction(StreamFormat const& format) const;

private:
    Clock::time_point first_;
    Clock::time_point last_;
    std::size_t bytes_ = 0;      ///< that came from first_ on, the last block left out
    std::size_t lastBlock_ = 0;  ///< 0 before the first
    /// In bytes per second, of the last second and of the one before. A block that was held up
    /// between them makes one of them slow and the other fast.
    std::array<double, 2> pace_{};
};

}  // namespace tools
