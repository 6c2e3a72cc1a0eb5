// One session's flow control: numbering, acknowledgement, repetition, credit and silence.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "bytes.h"
#include "Datagram.h"
#include "TimePoint.h"

namespace desktop {

/// One end of a session with one peer. It decides what is to be sent and when, and leaves
/// sockets, threads and the clock to its owner:
/// - after every send(), receive(), consumed() and whenever deadline() has come, the owner
///   transmits what next() yields until that is nothing;
/// - what receive() accepts is to be delivered, and consumed() called once it is.
class Link {
public:
    struct Outgoing {
        DatagramHeader header;
        Payload payload;  ///< null unless the kind is kData
    };

    static constexpr std::chrono::milliseconds kFirstRetry{50};
    static constexpr std::chrono::milliseconds kLastRetry{500};
    static constexpr std::chrono::seconds kPingInterval{1};
    /// So many pings without an answer make a peer silent, that is 5 s after its last datagram.
    /// Counted, not measured, lest a peer be blamed for a pause in this process.
    static constexpr std::uint32_t kPingsUnanswered = 4;
    static constexpr std::size_t kMaxInFlight = 32;
    static constexpr std::size_t kMaxBytesInFlight = std::size_t{64} << 10;

    /// @param capacity  how many received messages the owner can hold
    /// @param held      how many it holds already, from earlier sessions
    Link(std::uint64_t session, std::uint32_t capacity, std::uint32_t held, TimePoint now);

    std::uint64_t session() const { return session_; }

    void send(Payload payload, TimePoint now);

    /// @param header  of any datagram that belongs to this session
    /// @return true when it is a message that is now to be delivered
    bool receive(DatagramHeader const& header, TimePoint now);

    /// A message that was held is no longer.
    void consumed();
    std::uint32_t held() const { return held_; }

    std::optional<Outgoing> next(TimePoint now);
    TimePoint deadline() const;
    bool isSilent(TimePoint now) const;

    /// The header for a datagram other than those from next().
    DatagramHeader makeHeader(Kind kind);

    /// Messages that are not acknowledged yet, sent or not, and their bytes.
    std::size_t queued() const { return queue_.size(); }
    std::size_t queuedBytes() const { return queuedBytes_; }
    std::deque<Payload> takeQueued();

    /// How many messages the peer has acknowledged; wraps.
    std::uint32_t acknowledged() const { return first_; }

private:
    void takeAcknowledgement(DatagramHeader const& header, TimePoint now);
    bool mayTransmit() const;
    void restartRetry(TimePoint now);

    std::uint64_t session_;

    // Sending. The queue's front has the number first_; those before transmit_ are in flight,
    // those before transmitted_ have been at some time.
    std::deque<Payload> queue_;
    std::size_t queuedBytes_ = 0;
    std::uint32_t first_ = 0;
    std::size_t transmit_ = 0;
    std::size_t transmitted_ = 0;
    std::size_t bytesInFlight_ = 0;
    std::uint32_t peerLimit_ = 0;  // the first number that the peer will not take yet
    std::chrono::milliseconds retryInterval_ = kFirstRetry;
    TimePoint retryAt_;  // counts only while something is queued
    bool probeDue_ = false;

    // Receiving.
    std::uint32_t capacity_;
    std::uint32_t held_;
    std::uint32_t expected_ = 0;
    std::uint32_t advertisedLimit_ = 0;  // the limit that the peer has last been told
    bool acknowledgementDue_ = false;

    TimePoint pingAt_;
    std::uint32_t pingsUnanswered_ = 0;
};

}  // namespace desktop
