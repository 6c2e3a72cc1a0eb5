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

Link::Link(std::uint64_t session, std::uint32_t capacity, std::uint32_t held, TimePoint now)
    : session_(session), capacity_(capacity), held_(held), pingAt_(now + kPingInterval) {}

void Link::send(Payload payload, TimePoint now) {
    if (queue_.empty()) restartRetry(now);
    queuedBytes_ += payload->size();
    queue_.push_back(std::move(payload));
}

bool Link::receive(DatagramHeader const& header, TimePoint now) {
    pingAt_ = now + kPingInterval;
    pingsUnanswered_ = 0;
    takeAcknowledgement(header, now);

    if (header.kind == Kind::kPing) acknowledgementDue_ = true;
    if (header.kind != Kind::kData) return false;
    acknowledgementDue_ = true;
    if (header.sequence != expected_ || held_ >= capacity_) return false;
    ++expected_;
    ++held_;
    return true;
}

void Link::takeAcknowledgement(DatagramHeader const& header, TimePoint now) {
    std::uint32_t const count = header.acknowledge - first_;
    if (count > transmitted_) return;  // overtaken by a later one, or wrong

    for (std::uint32_t i = 0; i < count; ++i) {
        auto const size = queue_.front()->size();
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
    if (more || count > 0) restartRetry(now);
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
        transmit_ = 0;
        bytesInFlight_ = 0;
        retryInterval_ = std::min(retryInterval_ * 2, kLastRetry);
        retryAt_ = now + retryInterval_;
        // Without credit there is nothing to repeat; the datagram that grants it may be lost.
        probeDue_ = !mayTransmit();
    }
    if (mayTransmit()) {
        auto const& payload = queue_[transmit_];
        auto header = makeHeader(Kind::kData);
        header.sequence = first_ + static_cast<std::uint32_t>(transmit_);
        bytesInFlight_ += payload->size();
        transmitted_ = std::max(transmitted_, ++transmit_);
        return Outgoing{header, payload};
    }
    bool const pingDue = now >= pingAt_;
    if (pingDue) {
        pingAt_ = now + kPingInterval;
        ++pingsUnanswered_;
    }
    if (pingDue || probeDue_) {
        probeDue_ = false;
        return Outgoing{makeHeader(Kind::kPing), nullptr};
    }
    if (acknowledgementDue_) return Outgoing{makeHeader(Kind::kAcknowledge), nullptr};
    return std::nullopt;
}

bool Link::mayTransmit() const {
    if (transmit_ == queue_.size() || transmit_ == kMaxInFlight) return false;
    auto const number = first_ + static_cast<std::uint32_t>(transmit_);
    if (!isAfter(peerLimit_, number)) return false;
    return transmit_ == 0 || bytesInFlight_ + queue_[transmit_]->size() <= kMaxBytesInFlight;
}

void Link::restartRetry(TimePoint now) {
    retryInterval_ = kFirstRetry;
    retryAt_ = now + retryInterval_;
}

TimePoint Link::deadline() const {
    return queue_.empty() ? pingAt_ : std::min(pingAt_, retryAt_);
}

bool Link::isSilent(TimePoint now) const {
    return pingsUnanswered_ >= kPingsUnanswered && now >= pingAt_;
}

DatagramHeader Link::makeHeader(Kind kind) {
    acknowledgementDue_ = false;
    auto const credit = held_ < capacity_ ? capacity_ - held_ : 0;
    advertisedLimit_ = expected_ + credit;
    return {kind, session_, 0, expected_, credit};
}

std::deque<Payload> Link::takeQueued() {
    transmit_ = 0;
    transmitted_ = 0;
    bytesInFlight_ = 0;
    queuedBytes_ = 0;
    return std::exchange(queue_, {});
}

}  // namespace desktop
