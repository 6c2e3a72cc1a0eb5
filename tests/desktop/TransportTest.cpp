#include <numeric>
#include <system_error>

#include "Datagram.h"
#include "test_support.h"

namespace desktop::test {
namespace {

using Transport = Desktop;

std::vector<std::uint32_t> countTo(std::uint32_t count) {
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

/// A datagram without a message.
Bytes datagram(DatagramHeader const& header) {
    auto const bytes = encodeHeader(header);
    return {bytes.begin(), bytes.end()};
}

TEST_F(Transport, CommandArrivesAndItsAnswerReachesTheSenderAlone) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox notifications;
    auto* const member = startMember(notifications);
    ASSERT_EQ(sendNumber(member->module(), kCommand, 41), 0);
    ASSERT_TRUE(commands.await(1));

    auto client = commands.sender();
    EXPECT_EQ(client.words[0], 0x7F000001U);
    EXPECT_EQ(client.words[4], 0xFFFFFFFFU);
    ASSERT_EQ(sendNumber(service->ioModule(), kNotification, 42, &client), 0);
    ASSERT_TRUE(notifications.await(1));
    EXPECT_EQ(notifications.numbers(), std::vector<std::uint32_t>{42});

    ++client.words[3];
    EXPECT_EQ(sendNumber(service->ioModule(), kNotification, 43, &client), -ENOTCONN);
    EXPECT_TRUE(eventually([&] { return member->connected == 1; }));
}

TEST_F(Transport, NothingIsLostAtFullSpeed) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox notifications;
    auto* const member = startMember(notifications);
    ASSERT_EQ(sendNumber(member->module(), kCommand, 0), 0);
    ASSERT_TRUE(commands.await(1));

    constexpr std::uint32_t kCount = 20'000;
    auto const client = commands.sender();
    for (std::uint32_t i = 0; i < kCount; ++i) {
        ASSERT_TRUE(eventually(
            [&] { return sendNumber(service->ioModule(), kNotification, i, &client) != -EAGAIN; }));
    }
    ASSERT_TRUE(notifications.await(kCount));
    EXPECT_EQ(notifications.numbers(), countTo(kCount));

    for (std::uint32_t i = 1; i < kCount; ++i) {
        ASSERT_EQ(sendNumber(member->module(), kCommand, i), 0);
    }
    ASSERT_TRUE(commands.await(kCount));
    EXPECT_EQ(commands.numbers(), countTo(kCount));
}

TEST_F(Transport, ReceiverThatBlocksHoldsUpNothingButItself) {
    Inbox commands;
    auto const service = startService(commands);
    std::atomic<bool> released = false;
    Inbox notifications([&](auto, auto) { released.wait(false); });
    auto* const member = startMember(notifications);
    ASSERT_EQ(sendNumber(member->module(), kCommand, 0), 0);
    ASSERT_TRUE(commands.await(1));

    // More than the receiving end has room for, and in the other direction more than a window.
    for (std::uint32_t i = 0; i < 500; ++i) {
        ASSERT_EQ(sendNumber(service->ioModule(), kNotification, i), 0);
    }
    for (std::uint32_t i = 1; i < 500; ++i) {
        ASSERT_EQ(sendNumber(member->module(), kCommand, i), 0);
    }
    EXPECT_TRUE(commands.await(500));
    EXPECT_TRUE(notifications.numbers().empty());
    released = true;
    released.notify_all();
    ASSERT_TRUE(notifications.await(500));
    EXPECT_EQ(notifications.numbers(), countTo(500));
}

TEST_F(Transport, ReceiverMaySendAnyNumberOfCommands) {
    Inbox commands;
    auto const service = startService(commands);
    std::atomic<void*> module = nullptr;
    std::atomic<int> failures = 0;
    Inbox notifications([&](auto, auto) {
        for (std::uint32_t i = 0; i < 1000; ++i) {
            if (sendNumber(module, kCommand, i) != 0) ++failures;
        }
    });
    auto* const member = startMember(notifications);
    module = member->module();
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    for (std::uint32_t i = 0; i < 5; ++i) sendNumber(service->ioModule(), kNotification, i);
    ASSERT_TRUE(notifications.await(5));
    EXPECT_TRUE(commands.await(5000));
    EXPECT_EQ(failures, 0);
}

TEST_F(Transport, WithoutServiceSendingFailsSoonAndSaysWhere) {
    Inbox notifications;
    auto* const member = startMember(notifications);
    testing::internal::CaptureStderr();
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(sendNumber(member->module(), kCommand, 1), -ECONNREFUSED);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no sound service at " + address),
              std::string::npos);

    Inbox commands;
    auto const service = startService(commands);
    EXPECT_TRUE(eventually([&] { return member->connected == 1; })) << "without being asked";
    EXPECT_EQ(sendNumber(member->module(), kCommand, 2), 0);
    EXPECT_TRUE(commands.await(1));
}

TEST_F(Transport, ClientFindsARestartedServiceAndServiceSeesClientsGo) {
    Inbox commands;
    auto service = startService(commands);
    Inbox notifications;
    auto* const member = startMember(notifications);
    ASSERT_EQ(sendNumber(member->module(), kCommand, 1), 0);
    ASSERT_TRUE(commands.await(1));
    service.reset();
    ASSERT_TRUE(eventually([&] { return member->disconnected == 1; }));
    EXPECT_EQ(member->disconnectError, 0);

    std::atomic<int> gone = 0;
    service = startService(commands, [&](auto const&) { ++gone; });
    ASSERT_TRUE(eventually([&] { return member->connected == 2; }));
    EXPECT_EQ(sendNumber(member->module(), kCommand, 2), 0);
    EXPECT_TRUE(commands.await(2));
    EXPECT_EQ(gone, 0);
    stopAppMembers();
    EXPECT_TRUE(eventually([&] { return gone == 1; }));
}

TEST_F(Transport, CommandThatMeetsAServiceWithoutMemoryOfTheClientIsSentAgain) {
    // A service that welcomes and then is replaced without a goodbye.
    auto crashed = std::make_unique<RawSocket>();
    address = crashed->address();
    setenv("LMQR2_UDPHOST", address.c_str(), 1);
    Inbox notifications;
    auto* const member = startMember(notifications);
    sockaddr_in client{};
    DatagramHeader hello{};
    ASSERT_EQ(decodeHeader(crashed->receive(client), hello), nullptr);
    ASSERT_EQ(hello.kind, Kind::kHello);
    crashed->sendTo("127.0.0.1:" + std::to_string(ntohs(client.sin_port)),
                    datagram({Kind::kWelcome, hello.session, 0, 0, 10}));
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    crashed.reset();

    Inbox commands;
    auto const service = startService(commands);
    EXPECT_EQ(sendNumber(member->module(), kCommand, 5), 0);
    ASSERT_TRUE(commands.await(1));
    EXPECT_TRUE(eventually([&] { return member->connected == 2; }));
    EXPECT_EQ(member->disconnectError, -ECONNRESET);
}

TEST_F(Transport, GarbageChangesNothing) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox notifications;
    auto* const member = startMember(notifications);
    ASSERT_EQ(sendNumber(member->module(), kCommand, 1), 0);
    ASSERT_TRUE(commands.await(1));
    auto const client = "127.0.0.1:" + std::to_string(commands.sender().words[1]);

    testing::internal::CaptureStderr();
    RawSocket const stranger;
    for (std::size_t size = 0; size < 100; ++size) {
        stranger.sendTo(address, std::vector<std::uint8_t>(size, 0x4C));
        stranger.sendTo(client, std::vector<std::uint8_t>(size, 0x4C));
    }
    // Well-formed up to the record, which is too short; and a session that nobody knows.
    stranger.sendTo(address, datagram({Kind::kHello, 77, 0, 0, 10}));
    auto data = datagram({Kind::kData, 77, 0, 0, 10});
    for (auto const byte : encodeMessageHeader({kCommand, {}})) data.push_back(byte);
    stranger.sendTo(address, data);
    stranger.sendTo(address, datagram({Kind::kPing, 78, 0, 0, 10}));

    for (DatagramHeader header{}; header.kind != Kind::kReset;) {
        sockaddr_in from{};
        ASSERT_EQ(decodeHeader(stranger.receive(from), header), nullptr);
    }
    EXPECT_EQ(sendNumber(member->module(), kCommand, 2), 0);
    EXPECT_EQ(sendNumber(service->ioModule(), kNotification, 3), 0);
    EXPECT_TRUE(commands.await(2));
    EXPECT_TRUE(notifications.await(1));
    EXPECT_EQ(commands.numbers(), (std::vector<std::uint32_t>{1, 2}));
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("dropped"), std::string::npos);
    EXPECT_LE(std::count(log.begin(), log.end(), '\n'), 3) << log;
}

TEST_F(Transport, ClientThatStopsReadingIsDroppedAndTheOthersLoseNothing) {
    Inbox commands;
    std::atomic<int> gone = 0;
    auto const service = startService(commands, [&](auto const&) { ++gone; });
    Inbox notifications;
    auto* const member = startMember(notifications);
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    RawSocket const mute;
    mute.sendTo(address, datagram({Kind::kHello, 77, 0, 0, 10}));
    sockaddr_in from{};
    ASSERT_FALSE(mute.receive(from).empty());

    testing::internal::CaptureStderr();
    std::uint32_t count = 0;
    for (; count < 1500; ++count) {
        ASSERT_EQ(sendNumber(service->ioModule(), kNotification, count), 0);
        ASSERT_TRUE(count % 500 != 0 || notifications.await(count));
    }
    EXPECT_TRUE(eventually([&] { return gone == 1; }));
    EXPECT_TRUE(notifications.await(count));
    EXPECT_EQ(notifications.numbers(), countTo(count));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(mute.address() +
                                                          " is 1500 notifications behind: dropped"),
              std::string::npos);
}

}  // namespace
}  // namespace desktop::test
