#include "desktop/Service.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "Address.h"
#include "DeliveryThread.h"
#include "Dispatcher.h"
#include "IoModule.h"
#include "IoThread.h"
#include "Link.h"
#include "log.h"
#include "MalformedLog.h"
#include "MessageHeader.h"
#include "transport_info.h"
#include "UdpSocket.h"

namespace desktop {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kCommandCapacity = 128;  // for each client
constexpr std::size_t kMaxClients = 64;
constexpr int kDatagramsAtOnce = 64;
constexpr milliseconds kGoodbyeLimit{200};

// A client's queue: full, for how long, and too long at once.
constexpr std::size_t kFullQueue = 1024;
constexpr milliseconds kFullLimit{2000};
constexpr std::size_t kMaxQueue = 16384;
constexpr std::size_t kMaxQueueBytes = std::size_t{16} << 20;

}  // namespace

class Service::Impl : public IoModule {
public:
    Impl(Address const& address, ClientGone clientGone);
    ~Impl() override;

    void start() { io_.start(); }
    std::int32_t send(Payload message, frame::TransportInfo const* destination) override;

private:
    struct Client {
        Client(Address const& from, std::uint64_t session, TimePoint now)
            : address(from),
              info(transportInfo(from, session)),
              link(session, kCommandCapacity, 0, now) {}

        Address address;
        frame::TransportInfo info;
        Link link;
        std::optional<TimePoint> fullSince;
    };

    using ClientRef = std::shared_ptr<Client>;

    struct Tag {
        ClientRef client;
        bool gone;  // it has left, and there is no message
    };

    TimePoint turn();
    bool receiveAll(TimePoint now);
    void receive(std::span<std::uint8_t const> datagram, Address const& from, TimePoint now);
    void welcome(DatagramHeader const& hello, Address const& from, TimePoint now);
    void dropLaggards(TimePoint now);
    static std::string reasonToDrop(Client& client, TimePoint now);
    void remove(ClientRef const& client);
    void enqueue(Client& client, Payload const& message, TimePoint now);
    void flush(Client& client, TimePoint now);
    ClientRef find(Address const& address) const;
    void taken(Tag const& tag);
    void deliver(Tag const& tag, std::span<std::uint8_t> message);

    ClientGone const clientGone_;
    UdpSocket socket_;
    Dispatcher dispatcher_;
    MalformedLog malformed_;

    std::mutex mutex_;  // guards what follows
    std::condition_variable flushed_;
    std::vector<ClientRef> clients_;
    DeliveryThread<Tag> delivery_;
    IoThread io_;  // last: its turns use everything above
};

Service::Impl::Impl(Address const& address, ClientGone clientGone)
    : IoModule(dispatcher_),
      clientGone_(std::move(clientGone)),
      socket_(UdpSocket::Role::kListen, address, kMaxDatagram),
      delivery_(
          mutex_, [this](Tag const& tag) { taken(tag); },
          [this](Tag const& tag, std::span<std::uint8_t> message) { deliver(tag, message); }),
      io_(socket_, mutex_, [this] { return turn(); }) {
    IoModule* const self = this;
    dispatcher_.exchange({&self, 1}, {});
}

Service::Impl::~Impl() {
    {
        std::unique_lock lock(mutex_);
        flushed_.wait_for(lock, kGoodbyeLimit, [this] {
            return std::all_of(clients_.begin(), clients_.end(),
                               [](auto const& client) { return client->link.queued() == 0; });
        });
        for (auto const& client : clients_) {
            socket_.send(encodeHeader(client->link.makeHeader(Kind::kBye)), nullptr,
                         &client->address);
        }
    }
    io_.stop();
    delivery_.stop();
}

std::int32_t Service::Impl::send(Payload message, frame::TransportInfo const* destination) {
    std::lock_guard const lock(mutex_);
    auto const now = Clock::now();
    if (destination == nullptr) {
        for (auto const& client : clients_) enqueue(*client, message, now);
        dropLaggards(now);
        return 0;
    }
    auto const client =
        std::find_if(clients_.begin(), clients_.end(), [destination](auto const& candidate) {
            return candidate->info.words == destination->words;
        });
    if (client == clients_.end()) return -ENOTCONN;
    if ((*client)->link.queued() >= kFullQueue) return -EAGAIN;
    enqueue(**client, message, now);
    dropLaggards(now);
    return 0;
}

void Service::Impl::enqueue(Client& client, Payload const& message, TimePoint now) {
    client.link.send(message, now);
    flush(client, now);
    io_.dueBy(client.link.deadline());
}

TimePoint Service::Impl::turn() {
    auto const now = Clock::now();
    bool const received = receiveAll(now);
    if (received) flushed_.notify_all();
    dropLaggards(now);

    // A sender that finds a link idle has to wake this thread; so stay awake while one is busy.
    auto next = received ? now + Link::kFirstRetry : TimePoint::max();
    for (auto const& client : clients_) {
        flush(*client, now);
        next = std::min(next, client->link.deadline());
        if (client->fullSince) next = std::min(next, *client->fullSince + kFullLimit);
    }
    return next;
}

bool Service::Impl::receiveAll(TimePoint now) {
    bool received = false;
    for (int i = 0; i < kDatagramsAtOnce; ++i) {
        Address from;
        auto const datagram = socket_.receive(from);
        if (datagram.data() == nullptr) break;
        received = true;
        receive(datagram, from, now);
    }
    return received;
}

void Service::Impl::receive(std::span<std::uint8_t const> datagram, Address const& from,
                            TimePoint now) {
    DatagramHeader header;
    auto const* wrong = decodeHeader(datagram, header);
    if (wrong == nullptr && (header.kind == Kind::kWelcome || header.kind == Kind::kReset)) {
        wrong = "a service's datagram";
    }
    if (wrong == nullptr && header.kind == Kind::kData) {
        wrong = checkMessageHeader(datagram.subspan(kHeaderSize));
    }
    if (wrong != nullptr) {
        malformed_.count(wrong, from.toString());
        return;
    }
    if (header.kind == Kind::kHello) {
        welcome(header, from, now);
        return;
    }
    auto const client = find(from);
    if (client == nullptr || client->link.session() != header.session) {
        if (header.kind == Kind::kBye) return;
        socket_.send(encodeHeader({Kind::kReset, header.session, 0, 0, 0}), nullptr, &from);
        return;
    }
    if (header.kind == Kind::kBye) {
        remove(client);
        return;
    }
    if (!client->link.receive(header, now)) return;
    delivery_.push({client, false}, datagram.subspan(kHeaderSize));
}

void Service::Impl::welcome(DatagramHeader const& hello, Address const& from, TimePoint now) {
    auto client = find(from);
    if (client != nullptr && client->link.session() != hello.session) {
        remove(client);
        client = nullptr;
    }
    if (client == nullptr) {
        if (clients_.size() == kMaxClients) {
            malformed_.count("too many clients are registered", from.toString());
            return;
        }
        client = clients_.emplace_back(std::make_shared<Client>(from, hello.session, now));
        logLine(kFrameInfo, "%s has registered", from.toString().c_str());
    }
    client->link.receive(hello, now);
    socket_.send(encodeHeader(client->link.makeHeader(Kind::kWelcome)), nullptr, &from);
}

void Service::Impl::dropLaggards(TimePoint now) {
    for (std::size_t i = 0; i < clients_.size();) {
        auto const client = clients_[i];
        auto const reason = reasonToDrop(*client, now);
        if (reason.empty()) {
            ++i;
            continue;
        }
        logLine(kFrameWarning, "%s is %s: dropped", client->address.toString().c_str(),
                reason.c_str());
        socket_.send(encodeHeader(client->link.makeHeader(Kind::kReset)), nullptr,
                     &client->address);
        remove(client);
    }
}

std::string Service::Impl::reasonToDrop(Client& client, TimePoint now) {
    auto const queued = client.link.queued();
    if (queued < kFullQueue) {
        client.fullSince.reset();
    } else if (!client.fullSince) {
        client.fullSince = now;
    }
    bool const fullTooLong = client.fullSince && now - *client.fullSince >= kFullLimit;
    if (fullTooLong || queued >= kMaxQueue || client.link.queuedBytes() >= kMaxQueueBytes) {
        return std::to_string(queued) + " notifications behind";
    }
    return client.link.isSilent(now) ? "silent for 5 s" : "";
}

void Service::Impl::remove(ClientRef const& client) {
    std::erase(clients_, client);
    delivery_.push({client, true}, {});
}

void Service::Impl::flush(Client& client, TimePoint now) {
    while (auto const outgoing = client.link.next(now)) {
        socket_.send(encodeHeader(outgoing->header), outgoing->payload.get(), &client.address);
    }
}

auto Service::Impl::find(Address const& address) const -> ClientRef {
    auto const client =
        std::find_if(clients_.begin(), clients_.end(),
                     [&address](auto const& candidate) { return candidate->address == address; });
    return client == clients_.end() ? nullptr : *client;
}

void Service::Impl::taken(Tag const& tag) {
    if (tag.gone) return;
    tag.client->link.consumed();
    // One that has gone meanwhile must not hear from us.
    if (find(tag.client->address) == tag.client) flush(*tag.client, Clock::now());
}

void Service::Impl::deliver(Tag const& tag, std::span<std::uint8_t> message) {
    if (tag.gone) {
        if (clientGone_) clientGone_(tag.client->info);
        return;
    }
    auto const* const wrong = dispatcher_.deliver(message, tag.client->info);
    if (wrong != nullptr) malformed_.count(wrong, tag.client->address.toString());
}

Service::Service(std::string const& address, ClientGone clientGone)
    : impl_(std::make_unique<Impl>(Address::parse(address), std::move(clientGone))) {}

Service::~Service() = default;

void Service::start() {
    impl_->start();
}

void* Service::ioModule() {
    return static_cast<IoModule*>(impl_.get());
}

}  // namespace desktop
