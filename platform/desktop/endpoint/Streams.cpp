#include "Streams.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <span>

#include "desktop/streams.h"
#include "MessageHeader.h"

namespace desktop {

Streams& Streams::instance() {
    // Never destroyed: the transport's threads may outlive the process's static objects.
    static auto* const streams = new Streams;
    return *streams;
}

void Streams::declare(frameLmqMessageHeader_t const& command,
                      frameLmqMessageHeader_t const& announcement) {
    Kind const kind{command.interfaceCode, command.messageId};
    std::lock_guard const lock(mutex_);
    bool const isKnown = std::any_of(streams_.begin(), streams_.end(),
                                     [&](auto const& stream) { return stream.command == kind; });
    if (isKnown) return;
    streams_.push_back({kind, {announcement.interfaceCode, announcement.messageId}, nullptr});
}

void Streams::remember(Payload const& message) {
    auto const kind = kindOf(message->bytes);
    std::lock_guard const lock(mutex_);
    for (auto& stream : streams_) {
        if (stream.command == kind) stream.lastCommand = message;
    }
}

bool Streams::isAnnouncement(std::span<std::uint8_t const> message) {
    auto const kind = kindOf(message);
    std::lock_guard const lock(mutex_);
    return std::any_of(streams_.begin(), streams_.end(),
                       [&](auto const& stream) { return stream.announcement == kind; });
}

void Streams::forget() {
    std::lock_guard const lock(mutex_);
    for (auto& stream : streams_) stream.lastCommand = nullptr;
}

Streams::Kind Streams::kindOf(std::span<std::uint8_t const> message) {
    auto const header = decodeMessageHeader(message).header;
    return {header.interfaceCode, header.messageId};
}

std::int32_t declareStream(frameLmqMessageHeader_t const& command,
                           frameLmqMessageHeader_t const& announcement) try {
    Streams::instance().declare(command, announcement);
    return 0;
} catch (std::bad_alloc const&) {
    return -ENOMEM;
}

}  // namespace desktop
