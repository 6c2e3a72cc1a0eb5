#pragma once

#include <memory>
#include <string>
#include <vector>

#include "SoundIntake.h"

namespace tools {

/// The agent in this process, as the way to the sound that the service plays, for all who want to
/// have it. Any thread.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    /// Starts the agent on the first call, which is not repeated: it stays until the process ends.
    /// @param words  the host's command line, as the platform's log takes it
    /// @throws Failure when it does not start
    static SoundSource& start(std::vector<std::string> words);

    /// Has blocks handed to @p intake, too, from the next one on.
    virtual void add(std::shared_ptr<SoundIntake> intake) = 0;

    /// No block is being handed to it any more when this returns. When it was the last one, asks
    /// the service for no more sound. Not from the delivery thread.
    virtual void remove(std::shared_ptr<SoundIntake> const& intake) = 0;

    /// Asks the service for sound; changes nothing when it is sending already.
    /// @return false when there is no service
    virtual bool enable() = 0;

    /// Asks the service for no more sound.
    virtual void disable() = 0;
};

}  // namespace tools
