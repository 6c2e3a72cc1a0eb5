#include "desktop/Service.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <optional>
#include <utility>
#include <vector>

#include "Dispatcher.h"
#include "Endpoint.h"
#include "IoModule.h"
#include "Link.h"
#include "log.h"
#include "RegistrationLimit.h"
#include "socket_owner.h"
#include "transport_info.h"

namespace desktop {

namespace {

using Clock = std::chrono::steady_clock;

LinkLimits linkLimits(Limits const& limits) {
    auto link = limits.link;
    link.pingInterval = link.idlePingInterval = limits.clientPingInterval;
    link.pingsUnanswered = limits.clientPingsUnanswered;
    return link;
}

}  // namespace

class Service::Impl final : public IoModule, private Endpoint::Protocol {
public:
    Impl(Address const& address, ClientGone clientGone, Limits const& limits);
    ~Impl() override;

    void start() { endpoint_.start(); }
    std::int32_t send(Payload message, frame::TransportInfo const* destination) override;
    std::size_t clients() {
        auto const lock = endpoint_.lock();
        return clients_.size();
    }

private:
    struct Client {
        Address address;
        frame::TransportInfo info;
        std::optional<uid_t> user;
        Link link;
        std::optional<TimePoint> fullSince;
    };
    using Clients = std::vector<Client>;

    void receive(DatagramHeader const& header, std::span<std::uint8_t const> message,
                 Address const& from, TimePoint now) override;
    char const* refuse(Kind kind) const override;
    void peerIsMissing(Address const& peer, TimePoint now) override;
    TimePoint serve(TimePoint now) override;
    bool take(Delivery const& delivery, TimePoint now) override;
    void deliver(Delivery& delivery) override;

    void welcome(DatagramHeader const& hello, Address const& from, TimePoint now);
    Clients::iterator admit(DatagramHeader const& hello, Address const& from, TimePoint now);
    void reset(Address const& to, std::uint64_t session);
    void dropLaggards(TimePoint now);
    std::string reasonToDrop(Client& client, TimePoint now) const;
    Clients::iterator remove(Clients::iterator client);
    void flush(Client& client, TimePoint now);
    Clients::iterator find(Address const& address);
    Clients::iterator find(frame::TransportInfo const& info);
    bool anyIsBehind() const;
    void holdBack();

    ClientGone const clientGone_;
    Dispatcher dispatcher_;

    // Guarded by the endpoint's lock:
    std::condition_variable acknowledged_;
    Clients clients_;
    RegistrationLimit registrations_;

    Endpoint endpoint_;  // last: its threads use everything above
};

Service::Impl::Impl(Address const& address, ClientGone clientGone, Limits const& limits)
    : IoModule(dispatcher_),
      clientGone_(std::move(clientGone)),
      registrations_(limits.registrationsAtOnce, limits.registrationsPerSecond),
      endpoint_(UdpSocket::Role::kListen, address, limits, *this) {
    clients_.reserve(limits.clients);
    dispatcher_.activate(this);
}

Service::Impl::~Impl() {
    {
        auto lock = endpoint_.lock();
        auto const now = Clock::now();
        for (auto& client : clients_) {
            client.link.hurry();
            flush(client, now);
        }
        endpoint_.transmit(lock);
        endpoint_.awaitDatagrams();
        acknowledged_.wait_for(lock, endpoint_.limits().flush, [this] {
            return std::all_of(clients_.begin(), clients_.end(),
                               [](auto const& client) { return client.link.queued() == 0; });
        });
        for (auto& client : clients_) {
            endpoint_.send(client.link.makeHeader(Kind::kBye), nullptr, client.address);
        }
        endpoint_.transmit(lock);
    }
    endpoint_.close();
    endpoint_.join();
}

std::int32_t Service::Impl::send(Payload message, frame::TransportInfo const* destination) {
    auto lock = endpoint_.lock();
    auto const now = Clock::now();
    std::int32_t status = 0;
    auto const sendTo = [&](Client& client) {
        try {
            client.link.send(message, now);
        } catch (std::bad_alloc const&) {
            logLine(kFrameError, "%s misses a notification: out of memory",
                    client.address.text().data());
            status = -ENOMEM;
        }
    };
    if (destination != nullptr) {
        auto const client = find(*destination);
        if (client == clients_.end()) return -ENOTCONN;
        if (client->link.queued() >= endpoint_.limits().queueFull) return -EAGAIN;
        sendTo(*client);
    } else {
        for (auto& client : clients_) sendTo(client);
    }
    endpoint_.serveBy(serve(now));
    endpoint_.transmit(lock);
    return status;
}

TimePoint Service::Impl::serve(TimePoint now) {
    dropLaggards(now);
    auto next = TimePoint::max();
    for (auto& client : clients_) {
        flush(client, now);
        next = std::min(next, client.link.deadline());
        if (client.fullSince) {
            next = std::min(next, *client.fullSince + endpoint_.limits().queueFullFor);
        }
    }
    return next;
}

char const* Service::Impl::refuse(Kind kind) const {
    return kind == Kind::kWelcome || kind == Kind::kReset ? "a service's datagram" : nullptr;
}

void Service::Impl::receive(DatagramHeader const& header, std::span<std::uint8_t const> message,
                            Address const& from, TimePoint now) {
    if (header.kind == Kind::kHello) return welcome(header, from, now);
    auto const client = find(from);
    if (client == clients_.end() || client->link.session() != header.session) {
        if (header.kind != Kind::kBye) reset(from, header.session);
        return;
    }
    if (header.kind == Kind::kBye) {
        remove(client);
        return;
    }
    endpoint_.reserve(message.size());
    bool const isNew = client->link.receive(header, message.size(), now);
    if (isNew) endpoint_.push(Delivery::Event::kMessage, 0, client->info, message);
    acknowledged_.notify_all();
}

/// Its process has ended without a goodbye. Nobody waits for what it has not taken any more.
void Service::Impl::peerIsMissing(Address const& peer, TimePoint /*now*/) {
    auto const client = find(peer);
    if (client == clients_.end()) return;
    logLine(kFrameWarning, "%s has gone without a goodbye", peer.text().data());
    remove(client);
}

void Service::Impl::welcome(DatagramHeader const& hello, Address const& from, TimePoint now) {
    auto client = find(from);
    if (client != clients_.end() && client->link.session() != hello.session) {
        remove(client);
        client = clients_.end();
    }
    if (client == clients_.end()) client = admit(hello, from, now);
    if (client == clients_.end()) return;
    client->link.receive(hello, 0, now);
    endpoint_.send(client->link.makeHeader(Kind::kWelcome), nullptr, from);
}

/// @return the new client; none when there is no place for it
auto Service::Impl::admit(DatagramHeader const& hello, Address const& from, TimePoint now)
    -> Clients::iterator {
    // One that is not answered asks again.
    if (!registrations_.take(now)) return clients_.end();
    auto const& limits = endpoint_.limits();
    auto const user = ownerOfSocket(from);
    auto const ofUser = std::count_if(clients_.begin(), clients_.end(),
                                      [&user](auto const& client) { return client.user == user; });
    char const* const full = clients_.size() >= limits.clients ? "all places are taken"
                             : static_cast<std::size_t>(ofUser) >= limits.clientsOfOneUser
                                 ? "its user has taken the places that one may take"
                                 : nullptr;
    if (full != nullptr) {
        logLine(kFrameWarning, "%s is refused: %s", from.text().data(), full);
        reset(from, hello.session);
        return clients_.end();
    }
    logLine(kFrameInfo, "%s has registered", from.text().data());
    if (user && *user != geteuid() && *user != 0) {
        logLine(kFrameWarning,
                "%s belongs to user %u: it can send commands and hear, but not read what user %u "
                "writes into pipes; run both as the same user",
                from.text().data(), unsigned{*user}, unsigned{geteuid()});
    }
    clients_.push_back({from,
                        transportInfo(from, hello.session),
                        user,
                        Link(hello.session, limits.commandsHeld, linkLimits(limits), now),
                        {}});
    return std::prev(clients_.end());
}

void Service::Impl::reset(Address const& to, std::uint64_t session) {
    endpoint_.send({Kind::kReset, session, 0, 0, 0}, nullptr, to);
}

void Service::Impl::dropLaggards(TimePoint now) {
    for (auto client = clients_.begin(); client != clients_.end();) {
        auto const reason = reasonToDrop(*client, now);
        if (reason.empty()) {
            ++client;
            continue;
        }
        logLine(kFrameWarning, "%s is %s: dropped", client->address.text().data(), reason.c_str());
        endpoint_.send(client->link.makeHeader(Kind::kReset), nullptr, client->address);
        client = remove(client);
    }
}

std::string Service::Impl::reasonToDrop(Client& client, TimePoint now) const {
    auto const& limits = endpoint_.limits();
    auto const queued = client.link.queued();
    if (queued < limits.queueFull) {
        client.fullSince.reset();
    } else if (!client.fullSince) {
        client.fullSince = now;
    }
    bool const fullTooLong = client.fullSince && now - *client.fullSince >= limits.queueFullFor;
    if (fullTooLong || queued >= limits.queueMost ||
        client.link.queuedBytes() >= limits.queueMostBytes) {
        return std::to_string(queued) + " notifications behind";
    }
    return client.link.isSilent(now) ? "silent" : "";
}

auto Service::Impl::remove(Clients::iterator client) -> Clients::iterator {
    endpoint_.reserve(0);
    endpoint_.push(Delivery::Event::kClientGone, 0, client->info);
    acknowledged_.notify_all();
    return clients_.erase(client);
}

void Service::Impl::flush(Client& client, TimePoint now) {
    while (auto outgoing = client.link.next(now)) {
        endpoint_.send(outgoing->header, std::move(outgoing->payload), client.address);
    }
}

auto Service::Impl::find(Address const& address) -> Clients::iterator {
    return std::find_if(clients_.begin(), clients_.end(),
                        [&](auto const& client) { return client.address == address; });
}

auto Service::Impl::find(frame::TransportInfo const& info) -> Clients::iterator {
    return std::find_if(clients_.begin(), clients_.end(),
                        [&](auto const& client) { return client.info.words == info.words; });
}

bool Service::Impl::take(Delivery const& delivery, TimePoint now) {
    if (delivery.event == Delivery::Event::kClientGone) return true;
    // One that has gone meanwhile must not hear from us.
    auto const client = find(delivery.peer);
    if (client == clients_.end()) return true;
    client->link.consumed();
    flush(*client, now);
    return true;
}

void Service::Impl::deliver(Delivery& delivery) {
    if (delivery.event == Delivery::Event::kClientGone) {
        if (clientGone_) clientGone_(delivery.peer);
        return;
    }
    holdBack();
    auto const* const wrong = dispatcher_.deliver(delivery.message, delivery.peer);
    if (wrong != nullptr) {
        endpoint_.malformed().count(wrong, addressOf(delivery.peer), Clock::now());
    }
}

bool Service::Impl::anyIsBehind() const {
    return std::any_of(clients_.begin(), clients_.end(), [this](auto const& client) {
        return client.link.queued() >= endpoint_.limits().notificationsBehind;
    });
}

/// What a command brings about goes to all clients. So whoever sends commands faster than the
/// clients take that is slowed down, through the credit that is not given meanwhile; but a client
/// that takes nothing holds up the others for a bounded time only.
void Service::Impl::holdBack() {
    auto lock = endpoint_.lock();
    if (!anyIsBehind()) return;
    endpoint_.awaitDatagrams();
    acknowledged_.wait_for(lock, endpoint_.limits().holdBack, [this] { return !anyIsBehind(); });
}

Service::Service(std::string const& address, ClientGone clientGone, Limits const& limits)
    : impl_(std::make_unique<Impl>(Address::parse(address), std::move(clientGone), limits)) {}

Service::~Service() = default;

void Service::start() {
    impl_->start();
}

void* Service::ioModule() {
    return static_cast<IoModule*>(impl_.get());
}

std::size_t Service::clients() {
    return impl_->clients();
}

std::string clientName(frame::TransportInfo const& client) {
    return addressOf(client).toString();
}

}  // namespace desktop
