// The streams that have been declared in this process, and what was last asked of each.
#pragma once

#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

#include "frame/lmq.h"
#include "Payload.h"

namespace desktop {

/// The streams are the process's, and so outlive any connection.
class Streams {
public:
    static Streams& instance();

    /// @throws std::bad_alloc
    void declare(frameLmqMessageHeader_t const& command,
                 frameLmqMessageHeader_t const& announcement);

    /// Keeps the message if it is the command that switches a stream.
    void remember(Payload const& message);

    /// Says whether the message announces a piece of a stream.
    bool isAnnouncement(std::span<std::uint8_t const> message);

    /// Says whether two messages are commands of the same kind.
    static bool areAlike(Payload const& one, Payload const& other) {
        return kindOf(one->bytes) == kindOf(other->bytes);
    }

    /// Calls @p action for each command that was remembered.
    template <class Action>
    void forEachSwitch(Action const& action) {
        std::lock_guard const lock(mutex_);
        for (auto const& stream : streams_) {
            if (stream.lastCommand) action(stream.lastCommand);
        }
    }

    /// Forgets what was asked, not the streams.
    void forget();

private:
    struct Kind {
        std::uint32_t interfaceCode;
        std::uint32_t messageId;
        bool operator==(Kind const&) const = default;
    };
    struct Stream {
        Kind command;
        Kind announcement;
        Payload lastCommand;
    };
    static Kind kindOf(std::span<std::uint8_t const> message);

    std::mutex mutex_;
    std::vector<Stream> streams_;
};

}  // namespace desktop
