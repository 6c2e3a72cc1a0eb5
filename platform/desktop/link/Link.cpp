#include "Link.h"

#include <algorithm>
#include <utility>

namespace desktop {

namespace {

// Numbers wrap: one is after another when it is less than half the range ahead.
bool isAfter(std::uint32_t number, std::uint32_t other) {
    return number != other && number - other < 0x80000000;
}

// More than any window needs, and little enough for isAfter().
constexpr std::uint32_t kMaxCredit = 0xFFFF;

}  // namespace

Link::Link(std::uint64_t session, std::uint32_t capacity, LinkLimits const& limits, TimePoint now)
    : limits_(limits),
      session_(session),
      retryInterval_(limits.firstRetry),
      capacity_(capacity),
      pingAt_(now + limits.pingInterval) {}

void Link::send(Payload payload, TimePoint now) {
    makeRoom();
    if (queue_.empty()) restartRetry(now);
    queuedBytes_ += payload->bytes.size();
    queue_.push_back(std::move(payload));
}

void Link::sendFirst(Payload payload, TimePoint now) {
    makeRoom();
    if (queue_.empty()) restartRetry(now);
    queuedBytes_ += payload->bytes.size();
    queue_.push_front(std::move(payload));
}

void Link::makeRoom() {
    constexpr std::size_t kFirstCapacity = 16;
    if (queue_.full()) queue_.set_capacity(std::max(kFirstCapacity, 2 * queue_.capacity()));
}

bool Link::receive(DatagramHeader const& header, std::size_t size, TimePoint now) {
    pingAt_ = now + (header.kind == Kind::kData ? limits_.pingInterval : limits_.idlePingInterval);
    pingsUnanswered_ = 0;
    takeAcknowledgement(header, now);

    if (header.kind == Kind::kPing) acknowledgementDue_ = true;
    if (header.kind != Kind::kData) return false;
    if (header.sequence != expected_ || held_ >= capacity_) {
        // One is missing, or the peer does not know that this one has come.
        acknowledgementDue_ = true;
        return false;
    }
    ++expected_;
    ++held_;
    if (unacknowledged_++ == 0) acknowledgeAt_ = now + limits_.acknowledgeDelay;
    unacknowledgedBytes_ += size;
    if (unacknowledged_ >= limits_.acknowledgeCount ||
        unacknowledgedBytes_ >= limits_.acknowledgeBytes ||
        acknowledgeAt_ - now <= limits_.acknowledgeDelay - limits_.acknowledgeAge) {
        acknowledgementDue_ = true;
    }
    return true;
}

void Link::takeAcknowledgement(DatagramHeader const& header, TimePoint now) {
    std::uint32_t const count = header.acknowledge - first_;
    if (count > transmitted_) return;  // overtaken by a later one, or wrong

    for (std::uint32_t i = 0; i < count; ++i) {
        auto const size = queue_.front()->bytes.size();
        queuedBytes_ -= size;
        if (transmit_ > 0) {
            bytesInFlight_ -= size;
            --transmit_;
        }
        queue_.pop_front();
    }
    first_ += count;
    transmitted_ -= count;

    std::uint32_t const limit = header.acknowledge + std::min(header.credit, kMaxCredit);
    bool const more = isAfter(limit, peerLimit_);
    if (more) peerLimit_ = limit;
    if (more || count > 0) {
        sentAgain_ = false;
        restartRetry(now);
    } else if (header.kind == Kind::kAcknowledge && transmit_ > 0 && !sentAgain_) {
        // The peer says at once what it misses. Once is enough; the rest is a matter of time.
        sentAgain_ = true;
        transmitAgain();
    }
}

void Link::consumed() {
    --held_;
    // Half a queue is worth a datagram of its own; less waits for one that goes out anyway.
    if (expected_ + (capacity_ - held_) - advertisedLimit_ >= capacity_ / 2) {
        acknowledgementDue_ = true;
    }
}

std::optional<Link::Outgoing> Link::next(TimePoint now) {
    if (!queue_.empty() && now >= retryAt_) {
        transmitAgain();
        retryInterval_ = std::min(retryInterval_ * 2, limits_.lastRetry);
        retryAt_ = now + retryInterval_;
        // Without credit there is nothing to repeat; the datagram that grants it may be lost.
        probeDue_ = !mayTransmit();
    }
    if (mayTransmit()) {
        auto const& payload = queue_[transmit_];
        auto header = makeHeader(Kind::kData);
        header.sequence = first_ + static_cast<std::uint32_t>(transmit_);
        bytesInFlight_ += payload->bytes.size();
        transmitted_ = std::max(transmitted_, ++transmit_);
        return Outgoing{header, payload};
    }
    bool const pingDue = now >= pingAt_;
    if (pingDue) {
        pingAt_ = now + limits_.pingRepeat;
        ++pingsUnanswered_;
    }
    if (pingDue || probeDue_) {
        probeDue_ = false;
        return Outgoing{makeHeader(Kind::kPing), nullptr};
    }
    if (acknowledgementDue_ || (unacknowledged_ > 0 && now >= acknowledgeAt_)) {
        return Outgoing{makeHeader(Kind::kAcknowledge), nullptr};
    }
    return std::nullopt;
}

bool Link::mayTransmit() const {
    if (transmit_ == queue_.size() || transmit_ == limits_.maxInFlight) return false;
    auto const number = first_ + static_cast<std::uint32_t>(transmit_);
    if (!isAfter(peerLimit_, number)) return false;
    return transmit_ == 0 ||
           bytesInFlight_ + queue_[transmit_]->bytes.size() <= limits_.maxBytesInFlight;
}

void Link::transmitAgain() {
    transmit_ = 0;
    bytesInFlight_ = 0;
}

void Link::restartRetry(TimePoint now) {
    retryInterval_ = limits_.firstRetry;
    retryAt_ = now + retryInterval_;
}

TimePoint Link::deadline() const {
    auto deadline = pingAt_;
    if (!queue_.empty()) deadline = std::min(deadline, retryAt_);
    if (unacknowledged_ > 0) deadline = std::min(deadline, acknowledgeAt_);
    return deadline;
}

bool Link::isSilent(TimePoint now) const {
    return pingsUnanswered_ >= limits_.pingsUnanswered && now >= pingAt_;
}

DatagramHeader Link::makeHeader(Kind kind) {
    acknowledgementDue_ = false;
    unacknowledged_ = 0;
    unacknowledgedBytes_ = 0;
    auto const credit = held_ < capacity_ ? capacity_ - held_ : 0;
    advertisedLimit_ = expected_ + credit;
    return {kind, session_, 0, expected_, credit};
}

void Link::dropQueued() {
    queue_.clear();
    queuedBytes_ = 0;
    transmitted_ = 0;
    transmitAgain();
}

void Link::restart(std::uint64_t session, TimePoint now) {
    auto const held = held_;
    auto queue = std::exchange(queue_, boost::circular_buffer<Payload>());
    auto const queuedBytes = queuedBytes_;
    *this = Link(session, capacity_, limits_, now);
    held_ = held;
    queue_.swap(queue);
    queuedBytes_ = queuedBytes;
    restartRetry(now);
}

}  // namespace desktop
