#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <span>

#include "LevelMeter.h"
#include "MqttClient.h"
#include "SoundIntake.h"

/// What is playing: its level, and while somebody holds a lease the sound itself. Thread-safe.
class Sound : public tools::SoundIntake {
public:
    /// @param levelRate  how often a second to tell the level; 0 for never
    /// @param wake       called when there is something to tell
    Sound(double levelRate, std::function<void()> wake);

    /// Somebody listens, for a few seconds from now on.
    void renewLease();
    /// Says whether there is need for sound.
    bool isWanted() const { return levelEvery_ > Clock::duration::zero() || isLeased(); }

    /// The level when it is time to tell it, or else the next block that somebody listens to. Of
    /// what is not asked for soon enough the oldest is dropped. Topics are below the set's.
    std::optional<tools::MqttMessage> next();

private:
    using Clock = std::chrono::steady_clock;

    bool isLeased() const { return Clock::now() < leaseEnd_.load(); }
    void take(std::span<unsigned char const> block) override;
    tools::MqttMessage level();

    std::function<void()> const wake_;
    Clock::duration levelEvery_{};
    std::atomic<Clock::time_point> leaseEnd_ = Clock::time_point{};

    std::mutex mutex_;  ///< for all below
    tools::StreamFormat format_{};
    std::optional<tools::LevelMeter> meter_;
    Clock::time_point levelDue_;
    bool hasLevel_ = false;  ///< there was sound since the last
    std::deque<tools::MqttMessage> blocks_;
    std::uint64_t blockNumber_ = 0;
};
