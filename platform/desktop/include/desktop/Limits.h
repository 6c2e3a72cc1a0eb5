/// @file
/// The transport's times and bounds.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace desktop {

/// Of one session. The defaults are those of docs/wire-format.md.
struct LinkLimits {
    using milliseconds = std::chrono::milliseconds;

    /// What is not acknowledged goes out again after this time, then after twice that, and so on.
    milliseconds firstRetry{300};
    milliseconds lastRetry{1200};
    /// How long an acknowledgement waits for something to go out with.
    milliseconds acknowledgeDelay{150};
    /// From this age on it goes out with the next message that comes in, which wakes us anyway.
    milliseconds acknowledgeAge{60};
    /// So many messages, or bytes, are acknowledged at once.
    std::uint32_t acknowledgeCount = 8;
    std::size_t acknowledgeBytes = std::size_t{16} << 10;
    /// A peer that says nothing is asked, and asked again; unanswered so many times it is silent.
    /// One whose last word was no message has time: each question wakes both.
    milliseconds pingInterval{1000};
    milliseconds idlePingInterval{2000};
    milliseconds pingRepeat{1000};
    std::uint32_t pingsUnanswered = 4;
    std::size_t maxInFlight = 32;
    std::size_t maxBytesInFlight = std::size_t{64} << 10;
};

/// Of both ends. Tests put in shorter times.
struct Limits {
    using milliseconds = std::chrono::milliseconds;

    LinkLimits link;
    /// How long a receiver may run before another thread looks after the socket.
    milliseconds standInDelay{250};
    /// How long an end waits on its way down for what is not acknowledged yet.
    milliseconds flush{200};

    // The client's.
    std::uint32_t notificationsHeld = 256;  ///< received, and not delivered yet
    std::size_t commandsQueued = 256;
    milliseconds firstHello{100};
    milliseconds lastHello{1000};
    milliseconds registration{1000};   ///< how long a command waits for it
    milliseconds stall{2000};          ///< how long a command waits without any progress
    milliseconds stuckReceiver{5000};  ///< when the log says that one waits for a lost service
    milliseconds ownerKnown{1000};     ///< how long the answer to "whose port is it?" holds

    // The service's.
    /// It relies on its clients to ask, and asks only those that do not.
    LinkLimits::milliseconds clientPingInterval{3000};
    std::uint32_t clientPingsUnanswered = 2;
    std::uint32_t commandsHeld = 128;  ///< of each client
    std::size_t clients = 64;
    std::size_t clientsOfOneUser = 48;
    std::size_t registrationsAtOnce = 64;  ///< of clients not known yet
    std::size_t registrationsPerSecond = 200;
    /// A command waits for so long while any client has so many notifications to take.
    std::size_t notificationsBehind = 256;
    milliseconds holdBack{20};
    /// A client's queue: full, for how long, and too long at once.
    std::size_t queueFull = 1024;
    milliseconds queueFullFor{2000};
    std::size_t queueMost = 16384;
    std::size_t queueMostBytes = std::size_t{16} << 20;
};

}  // namespace desktop
