// Each end of the transport, with short limits and a peer whose datagrams the test makes itself.
#include <unistd.h>

#include <future>
#include <optional>
#include <set>

#include "ClientConnection.h"
#include "desktop/streams.h"
#include "MalformedLog.h"
#include "Peer.h"
#include "RegistrationLimit.h"
#include "socket_owner.h"
#include "test_support.h"

namespace desktop::test {
namespace {

template <class Action>
std::chrono::steady_clock::duration timeOf(Action const& action) {
    auto const start = std::chrono::steady_clock::now();
    action();
    return std::chrono::steady_clock::now() - start;
}

/// Has this process, which is root's, be another user's for a while.
class OtherUser {
public:
    OtherUser() { EXPECT_EQ(::seteuid(65534), 0); }
    ~OtherUser() { EXPECT_EQ(::seteuid(0), 0); }
    OtherUser(OtherUser const&) = delete;
    OtherUser& operator=(OtherUser const&) = delete;
};

/// A peer that is another user's.
template <class... Arguments>
std::unique_ptr<Peer> makeStranger(Arguments const&... arguments) {
    OtherUser const other;
    return std::make_unique<Peer>(arguments...);
}

TEST(SocketOwner, IsFoundHoweverManySocketsThereAre) {
    std::vector<LocalSocket> const sockets(100);
    for (auto const& socket : sockets) {
        EXPECT_EQ(ownerOfSocket(Address::parse(socket.address())), ::geteuid());
    }
    auto const unused = Address::parse(LocalSocket().address());
    EXPECT_EQ(ownerOfSocket(unused), std::nullopt);
    UdpSocket const everywhere(UdpSocket::Role::kListen, {0, unused.port});
    EXPECT_EQ(ownerOfSocket(unused), ::geteuid());
}

TEST(UdpSocket, SendsWhatComesAfterARefusal) {
    auto const address = LocalSocket().address();
    UdpSocket const socket(UdpSocket::Role::kConnect, Address::parse(address));
    std::uint8_t const byte = 5;
    UdpSocket::Outgoing const datagram{{&byte, 1}, {}, {}};
    EXPECT_FALSE(socket.send({&datagram, 1})) << "nobody listens";
    LocalSocket const peer(SOCK_DGRAM, address);
    EXPECT_TRUE(socket.send({&datagram, 1}));
    std::string from;
    EXPECT_EQ(peer.receive(from), Bytes{byte});
}

TEST(MalformedLog, SaysOnceASecondHowManyThereWere) {
    MalformedLog log;
    TimePoint const start{1h};
    testing::internal::CaptureStderr();
    for (auto const& [at, expected] : {std::pair{0ms,
                                                 "1 datagram(s) dropped, the latest from "
                                                 "1.2.3.4:5: too short"},
                                       {1ms, ""},
                                       {999ms, ""},
                                       {1000ms, "3 datagram(s)"},
                                       {2000ms, "1 datagram(s)"}}) {
        log.count("too short", {0x01020304, 5}, start + at);
        auto const line = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        EXPECT_EQ(line.empty(), *expected == 0) << line;
        EXPECT_NE(line.find(expected), std::string::npos) << line;
    }
    testing::internal::GetCapturedStderr();
}

using ServiceEnd = Desktop;

TEST_F(ServiceEnd, AsksASilentClientAndDropsIt) {
    limits_.clientPingInterval = limits_.link.pingRepeat = 20ms;
    startService();
    Peer client(address_);
    client.join();
    for (auto const kind : {Kind::kPing, Kind::kPing, Kind::kReset}) {
        EXPECT_EQ(client.hear().kind, kind);
    }
    EXPECT_TRUE(eventually([&] { return gone_ == 1; }));
    EXPECT_LT(busyPart(), 0.2);
    auto const info = client.info();
    EXPECT_EQ(notify(1, &info), -ENOTCONN);
}

TEST_F(ServiceEnd, ForgetsAClientAtOnceWhoseProcessHasGone) {
    startService();
    Peer other(address_);
    other.join();
    std::optional<Peer> client(address_);
    client->join();
    client.reset();
    // Before it counts as silent, and at the cost of nobody.
    EXPECT_TRUE(eventually([&] { return notify(1) == 0 && gone_ == 1; }, 1s));
    EXPECT_EQ(other.hear(Kind::kData).sequence, 0U);
    EXPECT_EQ(service_->clients(), 1U);
}

TEST_F(ServiceEnd, HasSoManyPlacesAndTellsWhomItRefuses) {
    for (auto const& [all, ofOneUser] : {std::pair{2, 9}, {9, 2}}) {
        limits_.clients = static_cast<std::size_t>(all);
        limits_.clientsOfOneUser = static_cast<std::size_t>(ofOneUser);
        startService();
        Peer first(address_);
        Peer second(address_);
        Peer third(address_);
        testing::internal::CaptureStderr();
        first.join();
        second.join();
        first.join();
        EXPECT_EQ(testing::internal::GetCapturedStderr().find("belongs to"), std::string::npos)
            << "the service's own user";
        testing::internal::CaptureStderr();
        third.say(Kind::kHello);
        EXPECT_EQ(third.hear().kind, Kind::kReset);
        EXPECT_NE(testing::internal::GetCapturedStderr().find(
                      ofOneUser == 2 ? "refused: its user has taken" : "refused: all places"),
                  std::string::npos);
        second.say(Kind::kBye);
        if (::geteuid() == 0 && ofOneUser == 2) {
            auto const other = makeStranger(address_);
            testing::internal::CaptureStderr();
            other->join();
            EXPECT_NE(testing::internal::GetCapturedStderr().find(
                          "belongs to user 65534: it can send commands and hear, but not read"),
                      std::string::npos);
            OtherUser const serviceUser;
            testing::internal::CaptureStderr();
            third.join();
            EXPECT_EQ(testing::internal::GetCapturedStderr().find("belongs to"), std::string::npos)
                << "root may read all pipes";
        }
        third.join();
        service_.reset();
    }
}

TEST_F(ServiceEnd, TakesInSoManyStrangersAndThenMoreByTheSecond) {
    limits_.registrationsAtOnce = 1;
    limits_.registrationsPerSecond = 0;
    startService();
    Peer first(address_);
    Peer second(address_);
    first.join();
    second.say(Kind::kHello);
    second.say(Kind::kPing);
    EXPECT_EQ(second.hear().kind, Kind::kReset) << "in answer to the PING; none to the HELLO";
    first.join();

    RegistrationLimit limit(2, 10);
    TimePoint now(1h);
    for (auto const& [pause, expected] : {std::pair{0ms, true},
                                          {0ms, true},
                                          {0ms, false},
                                          {99ms, false},
                                          {2ms, true},
                                          {0ms, false},
                                          {1h, true},
                                          {0ms, true},
                                          {0ms, false}}) {
        EXPECT_EQ(limit.take(now += pause), expected);
    }
}

TEST_F(ServiceEnd, DropsAClientThatIsTooFarBehind) {
    struct {
        std::size_t full;
        std::chrono::milliseconds fullFor;
        std::size_t most;
        std::size_t mostBytes;
        std::uint32_t count;  // that it may be behind
    } const cases[] = {{3, 50ms, 99, 9999, 3}, {99, 1h, 3, 9999, 2}, {99, 1h, 99, 84, 2}};
    for (auto const& [full, fullFor, most, mostBytes, count] : cases) {
        limits_.queueFull = full;
        limits_.queueFullFor = fullFor;
        limits_.queueMost = most;
        limits_.queueMostBytes = mostBytes;
        gone_ = 0;
        startService();
        Peer client(address_);
        auto const info = client.info();
        client.join(0);
        auto const time = timeOf([&] {
            for (std::uint32_t i = 0; i < count; ++i) ASSERT_EQ(notify(i, &info), 0);
            ASSERT_EQ(notify(count, &info), full == 3 ? -EAGAIN : 0);
            EXPECT_EQ(client.hear(Kind::kReset).acknowledge, 0U);
        });
        EXPECT_GE(time, full == 3 ? 50ms : 0ms);
        EXPECT_LT(time, 250ms) << "before anything would be repeated";
        EXPECT_TRUE(eventually([&] { return gone_ == 1; }));
        service_.reset();
    }
}

TEST_F(ServiceEnd, ForgetsAClientThatHasLeftOrBegunAnew) {
    startService();
    Peer client(address_);
    auto const info = client.info();
    client.join();
    client.say(Kind::kBye);
    ASSERT_TRUE(eventually([&] { return gone_ == 1; }));
    EXPECT_EQ(notify(1, &info), -ENOTCONN);
    EXPECT_EQ(notify(2), 0);
    client.say(Kind::kPing);
    EXPECT_EQ(client.hear().kind, Kind::kReset) << "and nothing before";
    client.join();
    client.session = 78;
    client.join();
    ASSERT_TRUE(eventually([&] { return gone_ == 2; }));
    EXPECT_EQ(notify(1, &info), -ENOTCONN);

    commands_.hold();
    client.say(0, message(kCommand, 1));
    ASSERT_TRUE(commands_.await(1));
    client.say(1, message(kCommand, 2));
    client.say(Kind::kBye);
    commands_.release();
    EXPECT_TRUE(commands_.await(2)) << "what it has said before holds";
}

/// Whether a message that is as its table says passes without a word, and one that is longer not.
void expectComplaint(Peer& peer, frameLmqMessageHeader_t const& header) {
    auto const complaint = "1 datagram(s) dropped, the latest from " + peer.address() + ':';
    for (std::uint32_t const excess : {0U, 1U}) {
        testing::internal::CaptureStderr();
        auto bytes = message(header, excess);
        bytes.resize(bytes.size() + excess);
        peer.say(excess, bytes);
        while (peer.hear().acknowledge <= excess) continue;
        auto const log = testing::internal::GetCapturedStderr();
        EXPECT_EQ(log.find(complaint) != std::string::npos, excess > 0) << log;
    }
}

TEST_F(ServiceEnd, SaysWhenACommandIsNotWhatItsTableSays) {
    startService();
    Peer client(address_);
    client.join();
    expectComplaint(client, kCommand);
}

TEST_F(ServiceEnd, CommandsWaitForAClientThatIsBehindButNotForLong) {
    limits_.notificationsBehind = 2;
    limits_.standInDelay = 1h;
    for (auto const limit : {50ms, std::chrono::milliseconds(1h)}) {
        limits_.holdBack = limit;
        startService();
        Peer slow(address_);
        Peer fast(address_);
        slow.join(0);
        notify(1);
        notify(2);
        fast.join();
        auto const before = commands_.numbers().size();
        auto const time = timeOf([&] {
            fast.say(0, message(kCommand, 1));
            EXPECT_FALSE(commands_.await(before + 1, 20ms));
            if (limit > 1s) {
                slow.say(Kind::kAcknowledge, 0, 2);
                while (slow.hear(Kind::kData).sequence != 1) continue;
                slow.say(Kind::kAcknowledge, 1);
            }
            EXPECT_TRUE(commands_.await(before + 1));
        });
        EXPECT_GE(time, std::min(limit, 20ms));
        service_.reset();
    }
}

TEST_F(ServiceEnd, AnswersWhileAReceiverRuns) {
    limits_.standInDelay = 20ms;
    limits_.commandsHeld = 2;
    commands_.hold();
    startService();
    Peer client(address_);
    client.say(Kind::kHello);
    EXPECT_EQ(client.hear().credit, 2U);
    client.say(0, message(kCommand, 0));
    ASSERT_TRUE(commands_.await(1));
    for (std::uint32_t i = 1; i < 4; ++i) client.say(i, message(kCommand, i));
    DatagramHeader answer{};
    while (answer.acknowledge < 3) answer = client.hear(Kind::kAcknowledge);
    EXPECT_EQ(answer.acknowledge, 3U) << "one is with the receiver, two are held";
    EXPECT_EQ(answer.credit, 0U);
    commands_.release();
    EXPECT_TRUE(commands_.await(3));
}

/// The end that has sent the peer one message repeats it, and says goodbye when that is taken, or
/// after a while.
template <class Close>
void expectGoodbye(Peer& peer, std::chrono::milliseconds limit, Close const& close) {
    EXPECT_EQ(peer.hear(Kind::kData).sequence, 0U);
    EXPECT_LT(timeOf([&] { peer.hear(Kind::kData); }), 900ms) << "before anything else is due";
    auto end = std::async(std::launch::async, [&] { return timeOf(close); });
    peer.hear(Kind::kPing);
    if (limit > 1s) peer.say(Kind::kAcknowledge, 1);
    peer.hear(Kind::kBye);
    EXPECT_GE(end.get(), limit > 1s ? 0ms : limit);
}

TEST_F(ServiceEnd, SaysGoodbyeWhenAllIsTakenOrAfterAWhile) {
    for (auto const limit : {50ms, std::chrono::milliseconds(1h)}) {
        limits_.flush = limit;
        limits_.standInDelay = 1h;
        startService();
        Peer client(address_);
        client.join();
        notify(1);
        expectGoodbye(client, limit, [&] { service_.reset(); });
    }
}

/// Listens to the connection.
class Listener : public frame::IOConnectionListener {
public:
    void onIOConnectionConnected() override { add("connected"); }
    void onIOConnectionConnectionFailed(int error) override {
        add("failed " + std::to_string(-error));
    }
    void onIOConnectionDisconnected(int error) override {
        add("lost " + std::to_string(-error));
        if (whenLost) whenLost();
    }

    std::function<void()> whenLost;  ///< to be set before anything can be lost

    bool hears(std::string const& expected) {
        return eventually([&] {
            std::lock_guard const lock(mutex_);
            return heard_ == expected;
        });
    }

private:
    void add(std::string const& event) {
        std::lock_guard const lock(mutex_);
        heard_ += event + ' ';
    }

    std::mutex mutex_;
    std::string heard_;
};

class ClientEnd : public testing::Test {
protected:
    ~ClientEnd() override {
        inbox_.release();
        if (!client_) return;
        client_->close();
        client_->stopDelivery();
    }

    void start() { start(service_); }
    void start(Peer const& service) {
        client_ = std::make_unique<ClientConnection>(Address::parse(service.address()), limits_);
        module_ = client_->addModule(listener_);
        client_->dispatcher().add({module_, kNotification.interfaceCode, kNotification.messageId,
                                   &Inbox::receive, &inbox_, &kNumberTable});
        client_->dispatcher().activate(module_);
    }

    /// With as many commands as may wait, for a service that takes none.
    void startFull(std::chrono::milliseconds stall) {
        limits_.commandsQueued = 2;
        limits_.stall = stall;
        start();
        service_.welcome(0);
        EXPECT_EQ(send(0), 0);
        EXPECT_EQ(send(1), 0);
    }

    std::int32_t send(std::uint32_t number, frameLmqMessageHeader_t const& header = kCommand) {
        auto payload = newPayload();
        payload->bytes = message(header, number);
        return client_->send(std::move(payload));
    }

    Peer service_;
    Limits limits_;
    Inbox inbox_;
    Listener listener_;
    std::unique_ptr<ClientConnection> client_;
    IoModule* module_ = nullptr;
};

TEST_F(ClientEnd, SaysHelloAgainEverLaterAndSendingGivesUp) {
    limits_.registration = 50ms;
    limits_.firstHello = 20ms;
    limits_.lastHello = 80ms;
    start();
    service_.hear();
    EXPECT_GE(timeOf([&] { EXPECT_EQ(send(1), -ETIMEDOUT); }), 50ms);
    while (service_.hear(Kind::kHello).session == 0) continue;
    auto const time = timeOf([&] {
        for (int i = 0; i < 5; ++i) service_.hear(Kind::kHello);
    });
    EXPECT_GE(time, 200ms);
    EXPECT_LT(time, 560ms) << "never later than the limit";
    service_.welcome();
    EXPECT_TRUE(listener_.hears("connected "));
}

TEST_F(ClientEnd, SaysHelloAtOnceForWhoWantsToSend) {
    limits_.firstHello = 1h;
    start();
    service_.hear(Kind::kHello);
    auto sending = std::async(std::launch::async, [&] { return send(1); });
    service_.welcome();
    EXPECT_EQ(sending.get(), 0);
    service_.say(Kind::kAcknowledge, 1);
}

TEST_F(ClientEnd, SaysHelloOftenAgainInANewSession) {
    limits_.firstHello = 20ms;
    limits_.lastHello = 1h;
    start();
    for (int i = 0; i < 7; ++i) service_.session = service_.hear(Kind::kHello).session;
    service_.say(Kind::kWelcome);
    service_.say(Kind::kReset);
    service_.hear(Kind::kHello);
    EXPECT_LT(timeOf([&] { service_.hear(Kind::kHello); }), 1s);
}

TEST_F(ClientEnd, IsToldThatThereIsNoPlaceForIt) {
    testing::internal::CaptureStderr();
    start();
    auto sending = std::async(std::launch::async, [&] { return send(1); });
    while (sending.wait_for(0s) != std::future_status::ready) {
        service_.session = service_.hear(Kind::kHello).session;
        service_.say(Kind::kReset);
    }
    EXPECT_EQ(sending.get(), -ECONNREFUSED);
    EXPECT_TRUE(listener_.hears("failed 111 "));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("takes no further client"),
              std::string::npos);
    service_.welcome();
    EXPECT_TRUE(listener_.hears("failed 111 connected "));
}

TEST_F(ClientEnd, CommandsWaitForAServiceThatTakesNoneButNotForLong) {
    startFull(50ms);
    EXPECT_GE(timeOf([&] { EXPECT_EQ(send(2), -ETIMEDOUT); }), 50ms);
    auto sending = std::async(std::launch::async, [&] { return send(3); });
    service_.say(Kind::kAcknowledge, 0, 1);
    service_.hear(Kind::kData);
    service_.say(Kind::kAcknowledge, 1, 0);
    EXPECT_EQ(sending.get(), 0);
}

TEST_F(ClientEnd, CommandsWaitLongerWhileTheServiceTakesSome) {
    startFull(800ms);
    std::vector<std::future<std::int32_t>> waiting;
    for (int i = 0; i < 3; ++i) {
        waiting.push_back(std::async(std::launch::async, [&] { return send(2); }));
    }
    for (std::uint32_t taken = 0; taken < 2; ++taken) {
        std::this_thread::sleep_for(450ms);
        service_.say(Kind::kAcknowledge, taken, 1);
        service_.hear(Kind::kData);
        service_.say(Kind::kAcknowledge, taken + 1, 0);
    }
    std::multiset<std::int32_t> results;
    for (auto& each : waiting) results.insert(each.get());
    EXPECT_EQ(results, (std::multiset{-ETIMEDOUT, 0, 0}));
}

TEST_F(ClientEnd, IsServedWhileTheDeliveryThreadWaitsToSend) {
    limits_.standInDelay = 1h;
    limits_.commandsQueued = 1;
    auto const sendTwo = [this] {
        EXPECT_EQ(send(1), 0);
        EXPECT_EQ(send(2), 0);
    };
    inbox_.react = [&](auto, auto const&) { sendTwo(); };
    listener_.whenLost = sendTwo;
    auto const takeTwo = [this] {
        for (std::uint32_t i = 0; i < 2; ++i) {
            while (service_.hear(Kind::kData).sequence != i) continue;
            service_.say(Kind::kAcknowledge, i + 1);
        }
    };
    start();
    service_.welcome();
    service_.say(0, message(kNotification, 1));
    takeTwo();
    EXPECT_TRUE(inbox_.await(1));
    service_.say(Kind::kReset);
    service_.welcome();
    takeTwo();
    EXPECT_TRUE(listener_.hears("connected lost 104 connected "));
}

TEST_F(ClientEnd, BeginsAnewWhenTheServiceIsSilent) {
    limits_.link.idlePingInterval = limits_.link.pingRepeat = 20ms;
    limits_.link.pingsUnanswered = 2;
    start();
    service_.welcome();
    EXPECT_EQ(service_.hear(Kind::kPing).session, service_.session);
    EXPECT_EQ(service_.hear().kind, Kind::kPing);
    auto const hello = service_.hear();
    EXPECT_EQ(hello.kind, Kind::kHello);
    EXPECT_NE(hello.session, service_.session);
    EXPECT_TRUE(listener_.hears("connected lost 110 "));
}

TEST_F(ClientEnd, CommandsOutliveASessionThatTheServiceForgotAndNoOther) {
    for (auto const kind : {Kind::kReset, Kind::kBye}) {
        client_.reset();
        testing::internal::CaptureStderr();
        start();
        service_.welcome();
        EXPECT_EQ(send(5), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        testing::internal::CaptureStderr();
        EXPECT_EQ(service_.hear(Kind::kData).sequence, 0U);
        auto const old = service_.session;
        service_.say(kind);
        service_.welcome();
        EXPECT_NE(service_.session, old);
        EXPECT_EQ(send(6), 0);
        EXPECT_EQ(service_.hear(Kind::kData).sequence, 0U);
        EXPECT_EQ(service_.number, kind == Kind::kReset ? 5U : 6U);
        EXPECT_NE(testing::internal::GetCapturedStderr().find("is back"), std::string::npos);
        service_.say(Kind::kAcknowledge, kind == Kind::kReset ? 2 : 1);
    }
}

TEST_F(ClientEnd, AWishIsRepeatedUnlessItIsQueuedAnyway) {
    ASSERT_EQ(declareStream(kSwitch, kAnnouncement), 0);
    start();
    service_.welcome();
    EXPECT_TRUE(listener_.hears("connected "));
    while (service_.canHear()) service_.hear(Kind::kHello);
    EXPECT_EQ(send(8, kSwitch), 0);
    EXPECT_EQ(service_.hear().kind, Kind::kData) << "it is registered and says no hello";
    EXPECT_EQ(send(9, kSwitch), 0);
    service_.say(Kind::kReset);
    service_.welcome();
    for (std::uint32_t const number : {8U, 9U}) {
        service_.hear(Kind::kData);
        EXPECT_EQ(service_.number, number);
    }
    service_.say(Kind::kAcknowledge, 2);
}

TEST_F(ClientEnd, ASessionBeginsWithWhatIsStillHeld) {
    limits_.notificationsHeld = 8;
    limits_.standInDelay = 20ms;
    limits_.stuckReceiver = 20ms;
    inbox_.hold();
    start();
    service_.welcome();
    testing::internal::CaptureStderr();
    service_.say(0, message(kNotification, 0));
    ASSERT_TRUE(inbox_.await(1));
    for (std::uint32_t i = 1; i < 4; ++i) service_.say(i, message(kNotification, i));
    while (service_.hear(Kind::kAcknowledge).acknowledge < 4) continue;
    service_.say(Kind::kReset);
    EXPECT_EQ(service_.hear(Kind::kHello).credit, 5U) << "one is with the receiver, three are held";
    auto idle = std::async(std::launch::async, [this] {
        return client_->dispatcher().awaitIdle({&module_, 1}, 1min);
    });
    std::string log;
    EXPECT_TRUE(eventually([&] {
        log += testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return log.find("notification 0x00000008 has not returned") != std::string::npos;
    }));
    testing::internal::GetCapturedStderr();
    inbox_.release();
    EXPECT_TRUE(inbox_.await(4)) << "it is no announcement of a stream";
    EXPECT_EQ(idle.wait_for(10s), std::future_status::ready) << "who waits is not told";
}

TEST_F(ClientEnd, RegistersByAnyDatagramOfItsSessionAndTakesNoOther) {
    start();
    service_.session = service_.hear(Kind::kHello).session + 1;
    service_.say(0, message(kNotification, 1));
    service_.say(Kind::kReset);
    --service_.session;
    testing::internal::CaptureStderr();
    service_.say(Kind::kHello);
    service_.say(0, message(kNotification, 2));
    EXPECT_TRUE(inbox_.await(1));
    EXPECT_EQ(inbox_.numbers(), std::vector<std::uint32_t>{2});
    EXPECT_TRUE(listener_.hears("connected "));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("a client's datagram"),
              std::string::npos);
}

TEST_F(ClientEnd, SaysWhenANotificationIsNotWhatItsTableSays) {
    start();
    service_.welcome();
    expectComplaint(service_, kNotification);
}

TEST_F(ClientEnd, SaysGoodbyeWhenAllIsTakenOrAfterAWhile) {
    for (auto const limit : {50ms, std::chrono::milliseconds(1h)}) {
        limits_.flush = limit;
        limits_.standInDelay = 1h;
        start();
        service_.welcome();
        std::this_thread::sleep_for(2 * limits_.firstHello);  // of which no alarm is left
        EXPECT_EQ(send(1), 0);
        expectGoodbye(service_, limit, [&] { client_->close(); });
        EXPECT_EQ(send(2), -ESHUTDOWN);
        client_.reset();
    }
}

TEST_F(ClientEnd, DoesNotTakeAnotherUsersPortForTheService) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    auto const stranger = makeStranger();
    limits_.registration = 5s;
    limits_.ownerKnown = 0ms;
    testing::internal::CaptureStderr();
    start(*stranger);
    auto sending = std::async(std::launch::async, [&] { return send(1); });
    while (sending.wait_for(0s) != std::future_status::ready) stranger->welcome();
    EXPECT_EQ(sending.get(), -EACCES);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("belongs to user 65534"),
              std::string::npos);
}

TEST_F(ClientEnd, TakesRootsService) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    OtherUser const client;
    start();
    service_.welcome();
    EXPECT_TRUE(listener_.hears("connected "));
}

TEST_F(ClientEnd, LosesAServiceWhosePortAnotherUserTakesOnceItAsksAgainWhoseItIs) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can be another user";
    std::string heard;
    for (auto const& [known, times] : {std::pair{std::chrono::milliseconds(1h), 1}, {0ms, 2}}) {
        limits_.ownerKnown = known;
        auto peer = std::make_unique<Peer>();
        auto const address = peer->address();
        start(*peer);
        for (int i = 0; i < times; ++i) {
            peer->welcome();
            EXPECT_TRUE(listener_.hears(heard += "connected "));
            auto const session = peer->session;
            auto const client = peer->end();
            peer.reset();
            peer = makeStranger(client, address);
            peer->session = session;
            testing::internal::CaptureStderr();
            peer->say(0, message(kNotification, 1));
            EXPECT_TRUE(known == 0ms ? listener_.hears(heard += "lost 13 failed 13 ")
                                     : inbox_.await(1));
            EXPECT_EQ(
                testing::internal::GetCapturedStderr().find("belongs to user") != std::string::npos,
                known == 0ms);
            peer.reset();
            peer = std::make_unique<Peer>(client, address);
        }
        client_.reset();
    }
}

}  // namespace
}  // namespace desktop::test
