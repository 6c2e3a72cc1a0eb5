#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "FormatWatch.h"
#include "Intake.h"
#include "LevelMeter.h"
#include "Options.h"
#include "Output.h"
#include "SoundSource.h"

/// One recording, from the first request for sound to the closing line on standard error.
class Recording {
public:
    /// Starts the agent.
    /// @param rawOutput  where raw samples go
    /// @throws tools::Failure when the agent does not start
    Recording(Options const& options, int rawOutput);

    /// Records until the duration is over, stopRecording() is called, the recording cannot be
    /// written, or the service is gone and not to be waited for; says what has been recorded.
    /// @return whether it ended as it should
    bool run();

private:
    bool record();
    bool hasBegun();
    void begin();
    void say(std::string const& what) const;
    bool isIdle() const;
    bool waitForService();
    bool checkService();
    bool moveSamples();
    void write(std::span<unsigned char const> samples);
    void drain();
    void showLevels();
    double seconds() const;
    void printSummary() const;

    Options const& options_;
    std::shared_ptr<Intake> const intake_;
    tools::SampleQueue& queue_;
    tools::StreamFormat format_;
    int const rawOutput_;
    tools::SoundSource& service_;
    std::unique_ptr<tools::SoundOutput> output_;
    std::optional<tools::LevelMeter> meter_;
    std::optional<tools::FormatWatch> formatWatch_;
    bool const showsLevels_;
    std::chrono::steady_clock::time_point shown_;
    std::chrono::steady_clock::time_point heard_;  ///< of the service
    std::chrono::steady_clock::time_point soundHeard_;
    std::uint32_t heardBlocks_ = 0;
    std::vector<unsigned char> buffer_;
    std::size_t held_ = 0;  ///< bytes at the buffer's beginning that are no whole frame yet
    std::uint64_t bytes_ = 0;
    bool serviceGone_ = false;
    bool interrupted_ = false;
};

/// Ends the recording. May be called from a signal handler.
void stopRecording();
