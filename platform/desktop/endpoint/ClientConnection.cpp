#include "ClientConnection.h"

#include <sys/random.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "log.h"
#include "MessageHeader.h"
#include "socket_owner.h"
#include "Streams.h"
#include "transport_info.h"

namespace desktop {

namespace {

using Clock = std::chrono::steady_clock;

std::uint64_t randomSession() {
    std::uint64_t session = 0;
    while (getrandom(&session, sizeof session, 0) != sizeof session || session == 0) continue;
    return session;
}

/// Allocates nothing.
char const* errorText(int error) {
    return error == 0 ? "it said goodbye" : strerrordesc_np(-error);
}

}  // namespace

class ClientConnection::Module : public IoModule {
public:
    Module(ClientConnection& connection, frame::IOConnectionListener& listener)
        : IoModule(connection.dispatcher()), connection_(connection), listener_(listener) {}

    std::int32_t send(Payload message, frame::TransportInfo const* /*destination*/) override {
        return connection_.send(std::move(message));
    }

    /// On the delivery thread. What the listener knows already is not repeated.
    void tell(Event event, int error) {
        bool const wasConnected = std::exchange(connected_, event == Event::kConnected);
        if (event == Event::kConnected && !wasConnected) listener_.onIOConnectionConnected();
        if (event == Event::kConnectionFailed) listener_.onIOConnectionConnectionFailed(error);
        if (event == Event::kDisconnected && wasConnected) {
            listener_.onIOConnectionDisconnected(error);
        }
    }

private:
    ClientConnection& connection_;
    frame::IOConnectionListener& listener_;
    bool connected_ = false;
};

ClientConnection::ClientConnection(Address const& service, Limits const& limits)
    : service_(service),
      serviceText_(service.text()),
      link_(randomSession(), limits.notificationsHeld, limits.link, Clock::now()),
      helloInterval_(limits.firstHello),
      endpoint_(UdpSocket::Role::kConnect, service, limits, *this) {
    endpoint_.start();
}

ClientConnection::~ClientConnection() = default;

IoModule* ClientConnection::addModule(frame::IOConnectionListener& listener) {
    auto const lock = endpoint_.lock();
    return modules_.emplace_back(std::make_unique<Module>(*this, listener)).get();
}

void ClientConnection::announce() {
    auto const lock = endpoint_.lock();
    if (state_ == State::kRegistered) push(Event::kConnected, 0);
}

std::int32_t ClientConnection::send(Payload message) {
    auto lock = endpoint_.lock();
    auto status = awaitRegistration(lock);
    if (status == 0) status = awaitRoom(lock);
    // Not before: a registration that this has waited for sends what is remembered, too.
    Streams::instance().remember(message);
    if (status == 0) {
        auto const now = Clock::now();
        link_.send(std::move(message), now);
        flush(now);
        endpoint_.serveBy(link_.deadline());
    }
    endpoint_.transmit(lock);
    return status;
}

std::int32_t ClientConnection::awaitRegistration(Lock& lock) {
    if (state_ == State::kRegistered) return 0;
    if (state_ == State::kClosed) return -ESHUTDOWN;

    helloInterval_ = endpoint_.limits().firstHello;
    sayHello(Clock::now());
    endpoint_.transmit(lock);
    endpoint_.serveBy(helloAt_);
    endpoint_.awaitDatagrams();
    // What is known by now was the answer to an earlier attempt.
    auto const refusals = refusals_;
    changed_.wait_for(lock, endpoint_.limits().registration,
                      [&] { return state_ != State::kRegistering || refusals_ != refusals; });
    if (state_ == State::kRegistered) return 0;
    int const error = refusals_ != refusals ? refusal_ : -ETIMEDOUT;
    missed_ = true;
    logLine(kFrameError, "no sound service at %s (%s); start one, for example sound-service",
            serviceText_.data(), errorText(error));
    return error;
}

std::int32_t ClientConnection::awaitRoom(Lock& lock) {
    auto const& limits = endpoint_.limits();
    auto acknowledged = link_.acknowledged();
    auto giveUp = Clock::now() + limits.stall;
    while (state_ == State::kRegistered && link_.queued() >= limits.commandsQueued) {
        endpoint_.awaitDatagrams();
        auto const waited = changed_.wait_until(lock, giveUp);
        if (link_.acknowledged() != acknowledged) {
            acknowledged = link_.acknowledged();
            giveUp = Clock::now() + limits.stall;
        } else if (waited == std::cv_status::timeout) {
            logLine(kFrameError, "the sound service at %s takes no more commands",
                    serviceText_.data());
            return -ETIMEDOUT;
        }
    }
    return state_ == State::kRegistered ? 0 : -ECONNRESET;
}

void ClientConnection::close() {
    {
        auto lock = endpoint_.lock();
        link_.hurry();
        if (state_ == State::kRegistered) flush(Clock::now());
        endpoint_.transmit(lock);
        endpoint_.awaitDatagrams();
        changed_.wait_for(lock, endpoint_.limits().flush,
                          [this] { return state_ != State::kRegistered || link_.queued() == 0; });
        if (state_ == State::kRegistered) {
            endpoint_.send(link_.makeHeader(Kind::kBye), nullptr, service_);
        }
        state_ = State::kClosed;
        changed_.notify_all();
        endpoint_.transmit(lock);
        Streams::instance().forget();
    }
    endpoint_.close();
}

char const* ClientConnection::refuse(Kind kind) const {
    return kind == Kind::kHello ? "a client's datagram" : nullptr;
}

void ClientConnection::receive(DatagramHeader const& header, std::span<std::uint8_t const> message,
                               Address const& /*from*/, TimePoint now) {
    if (header.session != link_.session() || state_ == State::kClosed) return;
    if (!trustsService(now)) return;
    if (header.kind == Kind::kReset && state_ == State::kRegistering) {
        logLine(kFrameWarning, "the sound service at %s takes no further client",
                serviceText_.data());
        refuseRegistration(-ECONNREFUSED);
        return;
    }
    if (header.kind == Kind::kReset || header.kind == Kind::kBye) {
        if (state_ != State::kRegistered) return;
        // The last word on what has arrived.
        link_.receive(header, 0, now);
        if (header.kind == Kind::kBye) {
            loseService(0, now);
        } else {
            registerAgain(now);
        }
        return;
    }
    // Whatever belongs to the session shows that it is registered; the welcome may be lost.
    if (state_ == State::kRegistering) becomeRegistered(now);
    endpoint_.reserve(message.size());
    bool const isNew = link_.receive(header, message.size(), now);
    if (isNew) {
        endpoint_.push(Event::kMessage, 0, transportInfo(service_, link_.session()), message);
    }
    changed_.notify_all();
}

/// Whoever has the service's port announces pipes that this process reads from. So it has to
/// belong to this user or to root, and that has to be known anew every now and then: the service
/// may have died, and somebody else may have taken its port.
bool ClientConnection::trustsService(TimePoint now) {
    if (now < askAgainAt_ || !service_.isLoopback()) return trusted_;
    auto const owner = ownerOfSocket(service_);
    trusted_ = owner && (*owner == 0 || *owner == geteuid());
    // One that is not found may have been missed: then it is asked again with the next datagram.
    if (owner) askAgainAt_ = now + endpoint_.limits().ownerKnown;
    if (trusted_) distrustReported_ = false;
    if (!owner || trusted_) return trusted_;
    if (!std::exchange(distrustReported_, true)) {
        logLine(kFrameError,
                "%s belongs to user %u, and neither to root nor to user %u: it is not taken for "
                "the sound service; run both as the same user",
                serviceText_.data(), unsigned{*owner}, unsigned{geteuid()});
    }
    if (state_ == State::kRegistered) loseService(-EACCES, now);
    refuseRegistration(-EACCES);
    return false;
}

void ClientConnection::becomeRegistered(TimePoint now) {
    endpoint_.reserve(0);
    // What is queued for a service that no longer knew this process ends with the same wish; sent
    // ahead of it, the wish would be granted, taken back and granted once more.
    Streams::instance().forEachSwitch([this, now](Payload const& command) {
        bool const isQueued = link_.anyQueued(
            [&command](Payload const& queued) { return Streams::areAlike(queued, command); });
        if (!isQueued) link_.sendFirst(command, now);
    });
    state_ = State::kRegistered;
    failureReported_ = false;
    if (std::exchange(missed_, false)) {
        logLine(kFrameWarning, "the sound service at %s is back", serviceText_.data());
    } else {
        logLine(kFrameInfo, "registered with the sound service at %s", serviceText_.data());
    }
    push(Event::kConnected, 0);
}

void ClientConnection::peerIsMissing(Address const& /*peer*/, TimePoint now) {
    if (state_ == State::kRegistered) loseService(-ECONNREFUSED, now);
    refuseRegistration(-ECONNREFUSED);
}

void ClientConnection::refuseRegistration(int error) {
    ++refusals_;
    refusal_ = error;
    changed_.notify_all();
    dropCommands();
    if (std::exchange(failureReported_, true)) return;
    push(Event::kConnectionFailed, error);
}

void ClientConnection::loseService(int error, TimePoint now) {
    push(Event::kDisconnected, error);
    logLine(kFrameWarning, "the sound service at %s is gone (%s); waiting for it to come back",
            serviceText_.data(), errorText(error));
    missed_ = true;
    dropCommands();
    beginSession(now);
}

void ClientConnection::dropCommands() {
    if (link_.queued() == 0) return;
    logLine(kFrameWarning, "%u command(s) to the sound service at %s are lost",
            static_cast<unsigned>(link_.queued()), serviceText_.data());
    link_.dropQueued();
}

void ClientConnection::registerAgain(TimePoint now) {
    push(Event::kDisconnected, -ECONNRESET);
    logLine(kFrameWarning,
            "the sound service at %s no longer knows this process; registering again",
            serviceText_.data());
    missed_ = true;
    beginSession(now);
}

void ClientConnection::beginSession(TimePoint now) {
    link_.restart(randomSession(), now);
    state_ = State::kRegistering;
    helloInterval_ = endpoint_.limits().firstHello;
    sayHello(now);
    changed_.notify_all();
}

void ClientConnection::sayHello(TimePoint now) {
    endpoint_.send(link_.makeHeader(Kind::kHello), nullptr, service_);
    helloAt_ = now + helloInterval_;
    helloInterval_ = std::min(helloInterval_ * 2, endpoint_.limits().lastHello);
}

TimePoint ClientConnection::serve(TimePoint now) {
    if (state_ == State::kRegistered && link_.isSilent(now)) loseService(-ETIMEDOUT, now);
    if (state_ == State::kClosed) return TimePoint::max();
    if (state_ == State::kRegistering) {
        reportStuckReceiver(now);
        if (now >= helloAt_) sayHello(now);
        return helloAt_;
    }
    flush(now);
    return link_.deadline();
}

/// A listener that opens a pipe waits there until somebody opens the other end.
void ClientConnection::reportStuckReceiver(TimePoint now) {
    auto const* const since = endpoint_.deliveringSince();
    if (since == nullptr || now - *since < endpoint_.limits().stuckReceiver ||
        *since == stuckReported_ || endpoint_.delivering().event != Event::kMessage) {
        return;
    }
    stuckReported_ = *since;
    auto const header = decodeMessageHeader(endpoint_.delivering().message).header;
    logLine(kFrameError,
            "notification 0x%08X has not returned from its receiver since the sound service at %s "
            "is gone; if that waits in a pipe, it goes on when a service starts there",
            unsigned{header.messageId}, serviceText_.data());
}

void ClientConnection::flush(TimePoint now) {
    while (auto outgoing = link_.next(now)) {
        endpoint_.send(outgoing->header, std::move(outgoing->payload), service_);
    }
}

void ClientConnection::push(Event event, int error) {
    endpoint_.reserve(0);
    endpoint_.push(event, error, transportInfo(service_, link_.session()));
}

bool ClientConnection::take(Delivery const& delivery, TimePoint now) {
    if (delivery.event != Event::kMessage) return true;
    link_.consumed();
    if (state_ == State::kRegistered) flush(now);
    bool const isOfThisSession =
        delivery.peer.words == transportInfo(service_, link_.session()).words &&
        state_ == State::kRegistered;
    return isOfThisSession || !Streams::instance().isAnnouncement(delivery.message);
}

void ClientConnection::deliver(Delivery& delivery) {
    if (delivery.event == Event::kMessage) {
        auto const* const wrong = dispatcher_.deliver(delivery.message, delivery.peer);
        if (wrong != nullptr) endpoint_.malformed().count(wrong, service_, Clock::now());
        return;
    }
    dispatcher_.tell([&delivery](IoModule& module) {
        static_cast<Module&>(module).tell(delivery.event, delivery.error);
    });
}

}  // namespace desktop
