#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AudioIntake.h"
#include "FormatWatch.h"
#include "SoundOutput.h"
#include "SoundSource.h"
#include "subcommands.h"

namespace sound::control {

/// Writes the sound of a session into a WAV file.
class AudioTrack {
public:
    /// @throws std::runtime_error when the file cannot be created
    AudioTrack(AudioOptions const& options, AudioIntake::Mark mark);

    /// Nothing is marked any more when it returns.
    ~AudioTrack();
    AudioTrack(AudioTrack const&) = delete;
    AudioTrack& operator=(AudioTrack const&) = delete;

    /// Starts the agent, and so the proxy.
    /// @throws tools::Failure when it does not start
    void start();

    /// Asks the service for sound, once it is there.
    void ask() { source_->enable(); }

    /// What is told of the service's coming and going, on the delivery thread.
    std::function<void(bool)> watcher() const;

    /// Writes what has come. To be called often.
    /// @throws std::runtime_error when that is not possible
    void write();

    /// Completes the file.
    /// @throws tools::Failure when it has not what was asked for
    void finish();

private:
    void begin();
    void tellNews();

    AudioOptions const& options_;
    std::shared_ptr<AudioIntake> const intake_;
    std::unique_ptr<tools::SoundOutput> output_;
    tools::SoundSource* source_ = nullptr;
    std::optional<tools::FormatWatch> formatWatch_;  ///< once there is sound
    std::vector<unsigned char> buffer_;
    std::uint64_t bytes_ = 0;
    bool isDoubtful_ = false;  ///< it may be another sound than was asked for
};

}  // namespace sound::control
