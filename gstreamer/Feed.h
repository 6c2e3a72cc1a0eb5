/// @file
/// The sound service's blocks, for all sources of a process.
#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "SoundIntake.h"

namespace sound::pipeline {

/// A process has one connection to the sound service, and its sources share what comes. The service
/// is asked for sound while there is at least one of them that takes it in.
///
/// This reads the service's pipes itself, instead of having set_audioCallback() do it: that has one
/// callback in a process, prints on standard output, which belongs to the pipeline (`! fdsink`) and
/// to what the host prints, and waits in a pipe for as long as nobody writes. For the same reason
/// no host can use that function and these sources in one process.
class Feed {
public:
    /// Never destroyed: the delivery thread may use it up to the last moment of the process.
    static Feed& instance();

    /// Connects this process, on the first call. Asks nothing of the service, and needs none.
    /// @return 0, or a negative errno value
    std::int32_t start();

    void add(std::shared_ptr<tools::SoundIntake> intake);
    /// No block is handed to it any more when this returns.
    void remove(std::shared_ptr<tools::SoundIntake> const& intake);

    /// Asks the service for sound, in bounded time; changes nothing when it is sending already.
    /// @return whether there is a service
    bool ask();

private:
    class Listener;

    Feed() = default;
    void announce(std::string const& pipe, std::size_t size);
    bool request(bool on);
    void end();

    std::mutex control_;                    ///< held while something is asked of the service
    boost::shared_ptr<Listener> listener_;  ///< under control_
    bool hasEnded_ = false;                 ///< under control_

    std::mutex intakesLock_;  ///< held while they take a block; taken under control_
    std::vector<std::shared_ptr<tools::SoundIntake>> intakes_;

    std::array<unsigned char, 16384> buffer_;  ///< the delivery thread's, for the largest block
};

}  // namespace sound::pipeline
