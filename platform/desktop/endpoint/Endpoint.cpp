#include "Endpoint.h"

#include <sys/eventfd.h>

#include <algorithm>
#include <new>
#include <utility>

#include "log.h"
#include "MessageHeader.h"
#include "threads.h"

namespace desktop {

namespace {

using Clock = std::chrono::steady_clock;

/// Between two deliveries the delivery thread looks after the socket if nobody has for so long.
constexpr std::chrono::milliseconds kReceiveInterval{20};

}  // namespace

/// Undoes on every way out what holds while the lock is given up: also when the host ends the
/// thread, in a receiver or in a system call.
template <class Action>
class Endpoint::Finally {
public:
    Finally(Lock& lock, Action action) : lock_(lock), action_(std::move(action)) {}
    ~Finally() {
        if (!lock_.owns_lock()) lock_.lock();
        action_();
    }
    Finally(Finally const&) = delete;
    Finally& operator=(Finally const&) = delete;

private:
    Lock& lock_;
    Action action_;
};

Endpoint::Endpoint(UdpSocket::Role role, Address const& address, Limits const& limits,
                   Protocol& protocol)
    : limits_(limits),
      protocol_(protocol),
      socket_(role, address),
      wakeUp_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "no event to be had") {}

Endpoint::~Endpoint() {
    close();
    join();
}

void Endpoint::start() {
    auto const guard = lock();
    transport_ = startThread("transport", [this] { runTransport(); });
    delivery_ = startThread("delivery", [this] { runDelivery(); });
}

void Endpoint::close() {
    {
        auto const guard = lock();
        stopping_ = true;
        alarm_.set({});
        wakeDelivery();
    }
    if (transport_.joinable()) transport_.join();
}

void Endpoint::join() {
    if (delivery_.joinable()) delivery_.join();
}

void Endpoint::send(DatagramHeader const& header, Payload payload, Address const& to) noexcept {
    try {
        outgoing_.push_back({encodeHeader(header), std::move(payload), to});
    } catch (std::bad_alloc const&) {
        // Lost, as on the way.
    }
}

void Endpoint::transmit(Lock& lock) {
    if (transmitting_) return;
    transmitting_ = true;
    Finally const done(lock, [this] {
        inTransit_.clear();
        transmitting_ = false;
    });
    while (!outgoing_.empty()) {
        inTransit_.swap(outgoing_);
        lock.unlock();
        bool const refused = sendAll(inTransit_);
        lock.lock();
        inTransit_.clear();
        if (refused) takeRefusals(Clock::now());
    }
}

bool Endpoint::sendAll(std::span<Outgoing const> all) const {
    constexpr std::size_t kAtOnce = 64;
    std::array<UdpSocket::Outgoing, kAtOnce> datagrams;
    bool refused = false;
    while (!all.empty()) {
        auto const count = std::min(kAtOnce, all.size());
        for (std::size_t i = 0; i < count; ++i) {
            datagrams[i] = {all[i].header, {}, all[i].to};
            if (all[i].payload) datagrams[i].payload = all[i].payload->bytes;
        }
        refused |= socket_.send(std::span(datagrams).first(count));
        all = all.subspan(count);
    }
    return refused;
}

void Endpoint::takeRefusals(TimePoint now) {
    while (auto const peer = socket_.takeRefusal()) {
        attempt([&] { protocol_.peerIsMissing(*peer, now); });
    }
}

void Endpoint::reserve(std::size_t size) {
    constexpr std::size_t kFirstCapacity = 16;
    if (queue_.full()) queue_.set_capacity(std::max(kFirstCapacity, 2 * queue_.capacity()));
    // One for each that is queued, so that what comes back finds its place.
    spare_.reserve(queue_.capacity() + 1);
    if (spare_.empty()) spare_.emplace_back();
    spare_.back().reserve(size);
}

void Endpoint::push(Delivery::Event event, int error, frame::TransportInfo const& peer,
                    std::span<std::uint8_t const> message) noexcept {
    auto bytes = std::move(spare_.back());
    spare_.pop_back();
    bytes.assign(message.begin(), message.end());
    queue_.push_back({event, error, peer, std::move(bytes)});
    if (deliveryWaits_) wakeDelivery();
}

void Endpoint::wakeDelivery() {
    deliveryWaits_ = false;
    eventfd_write(wakeUp_.number(), 1);
}

void Endpoint::recycle() noexcept {
    if (spare_.size() < spare_.capacity()) spare_.push_back(std::move(current_.message));
}

void Endpoint::serveBy(TimePoint when) {
    if (when >= alarmAt_) return;
    alarmAt_ = when;
    alarm_.set(when);
}

/// After datagrams the alarm is put off, too, when that spares a thread's waking: while there is
/// little traffic, and the alarm is far off.
void Endpoint::serveAfter(TimePoint now, TimePoint next) {
    constexpr std::chrono::milliseconds kWorthMoving{400};
    bool const isWorthIt = alarmAt_ - now >= kWorthMoving && next - alarmAt_ >= kWorthMoving;
    if (isWorthIt) alarmAt_ = TimePoint::max();
    serveBy(next);
}

void Endpoint::awaitDatagrams() {
    if (!delivering_ || datagramsAwaited_) return;
    datagramsAwaited_ = true;
    serveBy({});
}

/// Does what may run out of memory.
template <class Work>
void Endpoint::attempt(Work const& work) {
    try {
        work();
    } catch (std::exception const& error) {
        logLine(kFrameError, "the transport has dropped something: %s", error.what());
    }
}

void Endpoint::runDelivery() {
    auto lock = this->lock();
    Finally const ended(lock, [this] {
        if (stopping_) return;
        logLine(kFrameError,
                "a receiver has ended the delivery thread: this process is told nothing any more");
        deliveryEnded_ = true;
        serveBy({});
    });
    while (!stopping_) {
        bool const isIdle = queue_.empty();
        if (isIdle || Clock::now() - receivedAt_ >= kReceiveInterval) {
            receive(lock, deliveryBatch_, isIdle);
        }
        if (!stopping_ && !queue_.empty()) attempt([&] { deliverNext(lock); });
    }
}

void Endpoint::runTransport() {
    auto lock = this->lock();
    while (!stopping_) {
        auto const now = Clock::now();
        alarmAt_ = now + limits_.standInDelay;
        attempt([&] { alarmAt_ = protocol_.serve(now); });
        transmit(lock);
        bool const standingIn = standsIn(now);
        if (delivering_ && !standingIn) {
            alarmAt_ = std::min(alarmAt_, deliveringSince_ + limits_.standInDelay);
        }
        alarm_.set(alarmAt_);
        lock.unlock();
        if (standingIn) {
            socket_.wait(alarm_.descriptor());
        } else {
            alarm_.wait();
        }
        lock.lock();
        if (standingIn && standsIn(now)) receive(lock, transportBatch_, false);
        // Nobody is left to tell.
        while (deliveryEnded_ && !queue_.empty()) {
            protocol_.take(queue_.front(), now);
            queue_.pop_front();
        }
    }
}

bool Endpoint::standsIn(TimePoint now) const {
    return deliveryEnded_ ||
           (delivering_ && (datagramsAwaited_ || now - deliveringSince_ >= limits_.standInDelay));
}

/// Takes in what is there and answers it. The delivery thread takes datagrams in without the lock
/// when it has waited for them, and the transport thread only while a receiver runs, with the lock:
/// so no two do at a time, and datagrams keep their order.
void Endpoint::receive(Lock& lock, DatagramBatch& batch, bool wait) {
    if (wait) {
        transmit(lock);
        if (stopping_ || !queue_.empty()) return;
        deliveryWaits_ = true;
        lock.unlock();
        if (socket_.wait(wakeUp_.number())) {
            eventfd_t times;
            eventfd_read(wakeUp_.number(), &times);
        }
        socket_.receive(batch);
        lock.lock();
        deliveryWaits_ = false;
    } else {
        socket_.receive(batch);
    }
    if (stopping_) return;
    auto const now = receivedAt_ = Clock::now();
    if (batch.size() == 0) takeRefusals(now);
    for (std::size_t i = 0; i < batch.size(); ++i) {
        attempt([&] { takeIn(batch.bytes(i), batch.sender(i), now); });
    }
    attempt([&] { serveAfter(now, protocol_.serve(now)); });
    transmit(lock);
}

void Endpoint::takeIn(std::span<std::uint8_t const> datagram, Address const& from, TimePoint now) {
    DatagramHeader header;
    auto const* wrong = decodeHeader(datagram, header);
    if (wrong == nullptr) wrong = protocol_.refuse(header.kind);
    auto const message = datagram.subspan(std::min(kHeaderSize, datagram.size()));
    if (wrong == nullptr && header.kind == Kind::kData) wrong = checkMessageHeader(message);
    if (wrong != nullptr) {
        malformed_.count(wrong, from, now);
        return;
    }
    protocol_.receive(header, message, from, now);
}

void Endpoint::deliverNext(Lock& lock) {
    auto const now = Clock::now();
    current_ = std::move(queue_.front());
    queue_.pop_front();
    if (!protocol_.take(current_, now)) {
        recycle();
        return;
    }
    delivering_ = true;
    deliveringSince_ = now;
    serveBy(now + limits_.standInDelay);
    transmit(lock);
    Finally const delivered(lock, [this] {
        delivering_ = false;
        datagramsAwaited_ = false;
        recycle();
    });
    lock.unlock();
    protocol_.deliver(current_);
}

}  // namespace desktop
