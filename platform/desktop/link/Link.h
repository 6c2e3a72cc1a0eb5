// One session's flow control: numbering, acknowledgement, repetition, credit and silence.
#pragma once

#include <algorithm>
#include <boost/circular_buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "Datagram.h"
#include "desktop/Limits.h"
#include "Payload.h"
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

    /// @param capacity  how many received messages the owner can hold
    Link(std::uint64_t session, std::uint32_t capacity, LinkLimits const& limits, TimePoint now);

    std::uint64_t session() const { return session_; }

    /// @throws std::bad_alloc when the queue cannot grow; nothing has changed then
    void send(Payload payload, TimePoint now);

    /// Puts a message before all others; only while nothing of the session has been sent.
    /// @throws std::bad_alloc as send()
    void sendFirst(Payload payload, TimePoint now);

    /// @param header  of any datagram that belongs to this session
    /// @param size    of the message behind it, in bytes
    /// @return true when it is a message that is now to be delivered
    bool receive(DatagramHeader const& header, std::size_t size, TimePoint now);

    /// A message that was held is no longer.
    void consumed();

    /// Has the peer asked to acknowledge what it has, if anything is queued.
    void hurry() { probeDue_ = probeDue_ || !queue_.empty(); }

    std::optional<Outgoing> next(TimePoint now);
    TimePoint deadline() const;
    bool isSilent(TimePoint now) const;

    /// The header for a datagram other than those from next().
    DatagramHeader makeHeader(Kind kind);

    /// Messages that are not acknowledged yet, sent or not, and their bytes.
    std::size_t queued() const { return queue_.size(); }
    std::size_t queuedBytes() const { return queuedBytes_; }
    void dropQueued();
    template <class Predicate>
    bool anyQueued(Predicate const& predicate) const {
        return std::any_of(queue_.begin(), queue_.end(), predicate);
    }

    /// Begins anew as another session: what is queued is to be sent in it, and what is held is
    /// still held.
    void restart(std::uint64_t session, TimePoint now);

    /// How many messages the peer has acknowledged; wraps.
    std::uint32_t acknowledged() const { return first_; }

private:
    void makeRoom();
    void takeAcknowledgement(DatagramHeader const& header, TimePoint now);
    bool mayTransmit() const;
    void transmitAgain();
    void restartRetry(TimePoint now);

    LinkLimits limits_;
    std::uint64_t session_;

    // Sending. The queue's front has the number first_; those before transmit_ are in flight,
    // those before transmitted_ have been at some time.
    boost::circular_buffer<Payload> queue_;
    std::size_t queuedBytes_ = 0;
    std::uint32_t first_ = 0;
    std::size_t transmit_ = 0;
    std::size_t transmitted_ = 0;
    std::size_t bytesInFlight_ = 0;
    std::uint32_t peerLimit_ = 0;  // the first number that the peer will not take yet
    LinkLimits::milliseconds retryInterval_;
    TimePoint retryAt_;  // counts only while something is queued
    bool sentAgain_ =
        false;  // since the last progress, for the peer said that something is missing
    bool probeDue_ = false;

    // Receiving.
    std::uint32_t capacity_;
    std::uint32_t held_ = 0;
    std::uint32_t expected_ = 0;
    std::uint32_t advertisedLimit_ = 0;  // the limit that the peer has last been told
    std::uint32_t unacknowledged_ = 0;
    std::size_t unacknowledgedBytes_ = 0;
    TimePoint acknowledgeAt_;  // counts only while something is unacknowledged
    bool acknowledgementDue_ = false;

    TimePoint pingAt_;
    std::uint32_t pingsUnanswered_ = 0;
};

}  // namespace desktop
