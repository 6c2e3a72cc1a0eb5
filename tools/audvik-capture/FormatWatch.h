#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "Intake.h"
#include "Options.h"

/// Notices when what comes is not what the recording takes it for.
class FormatWatch {
public:
    FormatWatch(Options const& options, Intake const& intake);

    /// Looks again, once the intake has begun.
    /// @return what the user has to be told, each thing once
    std::optional<std::string> news();

private:
    std::optional<std::string> newsFromService();
    std::optional<std::string> newsFromPace();

    Intake const& intake_;
    tools::StreamFormat known_;  ///< what the user knows
    std::chrono::steady_clock::time_point looked_;
    bool paceDoubted_ = false;
};
