#include <numeric>

#include "bytes.h"
#include "Datagram.h"
#include "desktop/streams.h"
#include "MessageHeader.h"
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
    auto* const member = connect();
    ASSERT_EQ(member->send(41), 0);
    ASSERT_TRUE(commands_.await(1));

    auto client = commands_.sender();
    EXPECT_EQ(client.words[0], 0x7F000001U);
    EXPECT_EQ(client.words[4], 0xFFFFFFFFU);
    ASSERT_EQ(notify(42, &client), 0);
    ASSERT_TRUE(notifications_.await(1));
    EXPECT_EQ(notifications_.numbers(), std::vector<std::uint32_t>{42});

    ++client.words[3];
    EXPECT_EQ(notify(43, &client), -ENOTCONN);
    EXPECT_TRUE(eventually([&] { return member->connected == 1; }));
}

TEST_F(Transport, NothingIsLostAtFullSpeed) {
    auto* const member = connect();
    ASSERT_EQ(member->send(0), 0);
    ASSERT_TRUE(commands_.await(1));

    constexpr std::uint32_t kCount = 20'000;
    auto const client = commands_.sender();
    for (std::uint32_t i = 0; i < kCount; ++i) {
        ASSERT_TRUE(eventually([&] { return notify(i, &client) != -EAGAIN; }));
    }
    ASSERT_TRUE(notifications_.await(kCount));
    EXPECT_EQ(notifications_.numbers(), countTo(kCount));

    for (std::uint32_t i = 1; i < kCount; ++i) {
        ASSERT_EQ(member->send(i), 0);
    }
    ASSERT_TRUE(commands_.await(kCount));
    EXPECT_EQ(commands_.numbers(), countTo(kCount));
}

TEST_F(Transport, ReceiverThatBlocksHoldsUpNothingButItself) {
    notifications_.hold();
    auto* const member = connect();
    ASSERT_EQ(member->send(0), 0);
    ASSERT_TRUE(commands_.await(1));

    // More than the receiving end has room for, and in the other direction more than a window.
    for (std::uint32_t i = 0; i < 500; ++i) {
        ASSERT_EQ(notify(i), 0);
    }
    for (std::uint32_t i = 1; i < 500; ++i) {
        ASSERT_EQ(member->send(i), 0);
    }
    EXPECT_TRUE(commands_.await(500));
    EXPECT_EQ(notifications_.numbers().size(), 1U);
    notifications_.release();
    ASSERT_TRUE(notifications_.await(500));
    EXPECT_EQ(notifications_.numbers(), countTo(500));
}

TEST_F(Transport, ReceiverMaySendAnyNumberOfCommands) {
    std::atomic<Member*> member = nullptr;
    std::atomic<int> failures = 0;
    notifications_.react = [&](auto, auto const&) {
        for (std::uint32_t i = 0; i < 1000; ++i) {
            if (member.load()->send(i) != 0) ++failures;
        }
    };
    member = connect();
    for (std::uint32_t i = 0; i < 5; ++i) notify(i);
    ASSERT_TRUE(notifications_.await(5));
    EXPECT_TRUE(commands_.await(5000));
    EXPECT_EQ(failures, 0);
}

TEST_F(Transport, WithoutServiceSendingFailsSoonAndSaysWhere) {
    auto* const member = startMember(notifications_);
    testing::internal::CaptureStderr();
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(member->send(1), -ECONNREFUSED);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no sound service at " + address_),
              std::string::npos);

    startService();
    EXPECT_TRUE(eventually([&] { return member->connected == 1; })) << "without being asked";
    EXPECT_EQ(member->send(2), 0);
    EXPECT_TRUE(commands_.await(1));
}

TEST_F(Transport, ClientFindsARestartedServiceAndServiceSeesClientsGo) {
    auto* const member = connect();
    ASSERT_EQ(member->send(1), 0);
    ASSERT_TRUE(commands_.await(1));
    service_.reset();
    ASSERT_TRUE(eventually([&] { return member->disconnected == 1; }));
    EXPECT_EQ(member->disconnectError, 0);

    gone_ = 0;
    startService();
    ASSERT_TRUE(eventually([&] { return member->connected == 2; }));
    EXPECT_EQ(member->send(2), 0);
    EXPECT_TRUE(commands_.await(2));
    EXPECT_EQ(gone_, 0);
    stopAppMembers();
    EXPECT_TRUE(eventually([&] { return gone_ == 1; }));
}

TEST_F(Transport, AStreamOutlivesTheSessionAndItsAnnouncementsDoNot) {
    ASSERT_EQ(declareStream(kSwitch, kAnnouncement), 0);
    auto* const member = startMember(notifications_);
    EXPECT_EQ(member->send(1, kSwitch), -ECONNREFUSED) << "before there is a service";
    notifications_.hold();
    startService();
    ASSERT_TRUE(commands_.await(1)) << "asked for without the member's doing";

    auto const module = service_->ioModule();
    for (std::uint32_t i = 1; i < 4; ++i) sendNumber(module, kAnnouncement, i);
    notify(4);
    service_.reset();
    ASSERT_TRUE(eventually([&] { return commands_.numbers().size() == 1; }));
    startService();
    ASSERT_TRUE(commands_.await(2)) << "and again in the next session";
    notifications_.release();
    ASSERT_TRUE(notifications_.await(2));
    EXPECT_EQ(notifications_.numbers(), (std::vector<std::uint32_t>{1, 4}));
    EXPECT_EQ(commands_.numbers(), (std::vector<std::uint32_t>{1, 1}));
}

TEST_F(Transport, GarbageChangesNothing) {
    auto* const member = connect();
    ASSERT_EQ(member->send(1), 0);
    ASSERT_TRUE(commands_.await(1));
    auto const client = "127.0.0.1:" + std::to_string(commands_.sender().words[1]);

    testing::internal::CaptureStderr();
    LocalSocket const stranger;
    for (std::size_t size = 0; size < 100; ++size) {
        stranger.send(address_, std::vector<std::uint8_t>(size, 0x4C));
        stranger.send(client, std::vector<std::uint8_t>(size, 0x4C));
    }
    // Well-formed up to the record, which is too short; and a session that nobody knows.
    stranger.send(address_, datagram({Kind::kHello, 77, 0, 0, 10}));
    auto data = datagram({Kind::kData, 77, 0, 0, 10});
    for (auto const byte : encodeMessageHeader({kCommand, {}})) data.push_back(byte);
    stranger.send(address_, data);
    stranger.send(address_, datagram({Kind::kPing, 78, 0, 0, 10}));

    for (DatagramHeader header{}; header.kind != Kind::kReset;) {
        std::string from;
        ASSERT_EQ(decodeHeader(stranger.receive(from), header), nullptr);
    }
    EXPECT_EQ(member->send(2), 0);
    EXPECT_EQ(notify(3), 0);
    EXPECT_TRUE(commands_.await(2));
    EXPECT_TRUE(notifications_.await(1));
    EXPECT_EQ(commands_.numbers(), (std::vector<std::uint32_t>{1, 2}));
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("dropped"), std::string::npos);
    EXPECT_LE(std::count(log.begin(), log.end(), '\n'), 3) << log;
}

TEST_F(Transport, AStringMayEndWithTheLargestDatagramAndNotOneByteBeyond) {
    static constexpr cspEndianEntry_t kEntries[] = {
        {0, kCspEndianNested, {.nested = &__csp_EndianTable_cspDeserString_t}},
        {0, kCspEndianEnd, {.word = UINTPTR_MAX}}};
    constexpr cspEndianTable_t kText{sizeof(cspDeserString_t), kEntries};
    constexpr frameLmqMessageHeader_t kHeader{0xFFFFFFFF, 0x11, 11, 0};
    constexpr std::uint32_t kMost = 65507 - 28 - 24 - 4;
    auto* const member = connect();
    frameLmqIOServiceRegisterMessageHandlerFunction(service_->ioModule(), kHeader, &Inbox::receive,
                                                    &commands_, &kText);
    std::string text(kMost + 1, 'x');
    for (auto const& [length, status] : {std::pair{kMost, 0}, {kMost + 1, -EMSGSIZE}}) {
        cspDeserString_t const record{length, text.data()};
        EXPECT_EQ(member->send(kHeader, kText, &record), status);
    }
    ASSERT_TRUE(commands_.await(1));
    EXPECT_EQ(commands_.numbers(), std::vector{kMost}) << "the record begins with the length";
}

}  // namespace
}  // namespace desktop::test
