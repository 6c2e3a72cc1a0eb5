#include "ClientConnection.h"

#include <algorithm>
#include <cerrno>
#include <random>
#include <system_error>
#include <utility>

#include "log.h"
#include "MessageHeader.h"
#include "transport_info.h"

namespace desktop {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kDeliveryCapacity = 256;
constexpr std::size_t kSendCapacity = 256;
constexpr int kDatagramsPerTurn = 64;
constexpr milliseconds kFirstHelloInterval{100};
constexpr milliseconds kLastHelloInterval{1000};
constexpr milliseconds kRegistrationLimit{1000};
constexpr milliseconds kStallLimit{2000};
constexpr milliseconds kFlushLimit{200};

std::uint64_t randomSession() {
    std::random_device random;
    std::uint64_t session = 0;
    while (session == 0) session = std::uint64_t{random()} << 32 | random();
    return session;
}

std::string errorText(int error) {
    return std::generic_category().message(-error);
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

ClientConnection::ClientConnection(Address const& service)
    : service_(service),
      serviceText_(service.toString()),
      socket_(UdpSocket::Role::kConnect, service, kMaxDatagram),
      link_(randomSession(), kDeliveryCapacity, 0, Clock::now()),
      helloInterval_(kFirstHelloInterval),
      delivery_(
          mutex_, [this](Tag const& tag) { taken(tag); },
          [this](Tag const& tag, std::span<std::uint8_t> message) { deliver(tag, message); }),
      io_(socket_, mutex_, [this] { return turn(); }) {
    io_.start();
}

ClientConnection::~ClientConnection() = default;

IoModule* ClientConnection::addModule(frame::IOConnectionListener& listener) {
    std::lock_guard const lock(mutex_);
    return modules_.emplace_back(std::make_unique<Module>(*this, listener)).get();
}

void ClientConnection::announce() {
    std::lock_guard const lock(mutex_);
    if (state_ == State::kRegistered) delivery_.push({Event::kConnected, 0, {}}, {});
}

std::int32_t ClientConnection::send(Payload message) {
    Lock lock(mutex_);
    if (auto const status = awaitRegistration(lock); status < 0) return status;
    if (auto const status = awaitRoom(lock); status < 0) return status;
    auto const now = Clock::now();
    link_.send(std::move(message), now);
    flush(now);
    io_.dueBy(link_.deadline());
    return 0;
}

std::int32_t ClientConnection::awaitRegistration(Lock& lock) {
    if (state_ == State::kRegistered) return 0;
    if (state_ == State::kClosed) return -ESHUTDOWN;

    helloInterval_ = kFirstHelloInterval;
    sayHello(Clock::now());
    // What is known by now was the answer to an earlier attempt.
    if (socket_.takeRefusal()) refused();
    io_.dueBy(helloAt_);
    auto const refusals = refusals_;
    changed_.wait_for(lock, kRegistrationLimit,
                      [&] { return state_ != State::kRegistering || refusals_ != refusals; });
    if (state_ == State::kRegistered) return 0;
    int const error = refusals_ != refusals ? -ECONNREFUSED : -ETIMEDOUT;
    logLine(kFrameError, "no sound service at %s (%s); start one, for example sound-service",
            serviceText_.c_str(), errorText(error).c_str());
    return error;
}

std::int32_t ClientConnection::awaitRoom(Lock& lock) {
    auto acknowledged = link_.acknowledged();
    auto giveUp = Clock::now() + kStallLimit;
    while (state_ == State::kRegistered && link_.queued() >= kSendCapacity) {
        auto const waited = changed_.wait_until(lock, giveUp);
        if (link_.acknowledged() != acknowledged) {
            acknowledged = link_.acknowledged();
            giveUp = Clock::now() + kStallLimit;
        } else if (waited == std::cv_status::timeout) {
            logLine(kFrameError, "the sound service at %s takes no more commands",
                    serviceText_.c_str());
            return -ETIMEDOUT;
        }
    }
    return state_ == State::kRegistered ? 0 : -ECONNRESET;
}

void ClientConnection::close() {
    {
        Lock lock(mutex_);
        changed_.wait_for(lock, kFlushLimit,
                          [this] { return state_ != State::kRegistered || link_.queued() == 0; });
        if (state_ == State::kRegistered) {
            socket_.send(encodeHeader(link_.makeHeader(Kind::kBye)), nullptr, nullptr);
        }
        state_ = State::kClosed;
        changed_.notify_all();
    }
    io_.stop();
}

void ClientConnection::stopDelivery() {
    delivery_.stop();
}

TimePoint ClientConnection::turn() {
    auto const now = Clock::now();
    bool const received = receiveAll(now);
    if (received) changed_.notify_all();
    if (state_ == State::kRegistered && link_.isSilent(now)) loseService(-ETIMEDOUT);
    if (state_ == State::kClosed) return TimePoint::max();
    if (state_ == State::kRegistering) {
        if (now >= helloAt_) sayHello(now);
        return helloAt_;
    }
    flush(now);
    // A sender that finds the link idle has to wake this thread; so stay awake while it is busy.
    return received ? std::min(link_.deadline(), now + Link::kFirstRetry) : link_.deadline();
}

bool ClientConnection::receiveAll(TimePoint now) {
    bool received = false;
    for (int i = 0; i < kDatagramsPerTurn; ++i) {
        // In the order in which things happened: the service may be back since it refused.
        if (socket_.takeRefusal()) refused();
        Address from;
        auto const datagram = socket_.receive(from);
        if (datagram.data() != nullptr) {
            received = true;
            receive(datagram, now);
        } else if (!socket_.takeRefusal()) {
            break;
        } else {
            refused();
        }
    }
    return received;
}

void ClientConnection::receive(std::span<std::uint8_t const> datagram, TimePoint now) {
    DatagramHeader header;
    auto const* wrong = decodeHeader(datagram, header);
    if (wrong == nullptr && header.kind == Kind::kHello) wrong = "a client's datagram";
    if (wrong == nullptr && header.kind == Kind::kData) {
        wrong = checkMessageHeader(datagram.subspan(kHeaderSize));
    }
    if (wrong != nullptr) {
        malformed_.count(wrong, serviceText_);
        return;
    }
    if (header.session != link_.session() || state_ == State::kClosed) return;
    if (header.kind == Kind::kReset || header.kind == Kind::kBye) {
        if (state_ != State::kRegistered) return;
        if (header.kind == Kind::kReset) {
            registerAgain();
        } else {
            loseService(0);
        }
        return;
    }
    // Whatever belongs to the session shows that it is registered; the welcome may be lost.
    if (state_ == State::kRegistering) becomeRegistered();
    if (!link_.receive(header, now)) return;
    delivery_.push({Event::kMessage, 0, transportInfo(service_, link_.session())},
                   datagram.subspan(kHeaderSize));
}

void ClientConnection::becomeRegistered() {
    state_ = State::kRegistered;
    failureReported_ = false;
    logLine(kFrameInfo, "registered with the sound service at %s", serviceText_.c_str());
    delivery_.push({Event::kConnected, 0, {}}, {});
}

void ClientConnection::refused() {
    ++refusals_;
    changed_.notify_all();
    if (state_ == State::kRegistered) {
        loseService(-ECONNREFUSED);
        return;
    }
    dropCommands();
    if (failureReported_) return;
    failureReported_ = true;
    delivery_.push({Event::kConnectionFailed, -ECONNREFUSED, {}}, {});
}

void ClientConnection::loseService(int error) {
    logLine(kFrameWarning, "the sound service at %s is gone (%s); waiting for it to come back",
            serviceText_.c_str(), error == 0 ? "it said goodbye" : errorText(error).c_str());
    dropCommands();
    beginSession();
    delivery_.push({Event::kDisconnected, error, {}}, {});
}

void ClientConnection::dropCommands() {
    auto const commands = link_.takeQueued();
    if (commands.empty()) return;
    logLine(kFrameWarning, "%u command(s) to the sound service at %s are lost",
            static_cast<unsigned>(commands.size()), serviceText_.c_str());
}

void ClientConnection::registerAgain() {
    logLine(kFrameWarning,
            "the sound service at %s no longer knows this process; registering again",
            serviceText_.c_str());
    auto commands = link_.takeQueued();
    beginSession();
    auto const now = Clock::now();
    for (auto& command : commands) link_.send(std::move(command), now);
    delivery_.push({Event::kDisconnected, -ECONNRESET, {}}, {});
}

void ClientConnection::beginSession() {
    auto const now = Clock::now();
    link_ = Link(randomSession(), kDeliveryCapacity, link_.held(), now);
    state_ = State::kRegistering;
    helloAt_ = now;
    helloInterval_ = kFirstHelloInterval;
    changed_.notify_all();
}

void ClientConnection::sayHello(TimePoint now) {
    socket_.send(encodeHeader(link_.makeHeader(Kind::kHello)), nullptr, nullptr);
    helloAt_ = now + helloInterval_;
    helloInterval_ = std::min(helloInterval_ * 2, kLastHelloInterval);
}

void ClientConnection::flush(TimePoint now) {
    while (auto const outgoing = link_.next(now)) {
        socket_.send(encodeHeader(outgoing->header), outgoing->payload.get(), nullptr);
    }
}

void ClientConnection::taken(Tag const& tag) {
    if (tag.event != Event::kMessage) return;
    link_.consumed();
    if (state_ == State::kRegistered) flush(Clock::now());
}

void ClientConnection::deliver(Tag const& tag, std::span<std::uint8_t> message) {
    if (tag.event == Event::kMessage) {
        auto const* const wrong = dispatcher_.deliver(message, tag.sender);
        if (wrong != nullptr) malformed_.count(wrong, serviceText_);
        return;
    }
    dispatcher_.tell(
        [&tag](IoModule& module) { static_cast<Module&>(module).tell(tag.event, tag.error); });
}

}  // namespace desktop
