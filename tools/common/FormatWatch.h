#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "SoundIntake.h"

namespace tools {

/// Notices when what comes is not what an intake takes it for.
class FormatWatch {
public:
    /// @param known  what the user takes the sound for
    /// @param how    what the user says the format with: "--rate and --channels"
    FormatWatch(StreamFormat const& known, std::string how, SoundIntake const& intake);

    /// Looks again, once the intake has begun.
    /// @return what the user has to be told, each thing once
    std::optional<std::string> news();

private:
    std::optional<std::string> newsFromService();
    std::optional<std::string> newsFromPace();

    SoundIntake const& intake_;
    StreamFormat known_;
    std::string const how_;
    std::chrono::steady_clock::time_point looked_;
    bool paceDoubted_ = false;
};

}  // namespace tools
