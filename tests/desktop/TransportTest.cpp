#include <numeric>

#include "desktop/streams.h"
#include "Peer.h"

namespace desktop::test {
namespace {

using Transport = Desktop;

std::vector<std::uint32_t> countTo(std::uint32_t count) {
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
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
    testing::internal::CaptureStderr();
    service_.reset();
    startService();
    ASSERT_TRUE(commands_.await(2)) << "and again in the next session";
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("is gone (it said goodbye)"), std::string::npos);
    EXPECT_NE(log.find("is back"), std::string::npos);
    notifications_.release();
    ASSERT_TRUE(notifications_.await(2));
    EXPECT_EQ(notifications_.numbers(), (std::vector<std::uint32_t>{1, 4}));
    EXPECT_EQ(commands_.numbers(), (std::vector<std::uint32_t>{1, 1}));
    EXPECT_TRUE(eventually([&] { return member->connected == 2; }));
    EXPECT_EQ(member->disconnected, 1);
    EXPECT_EQ(member->disconnectError, 0) << "the service said goodbye";
}

TEST_F(Transport, TakesNoTimeOfTheProcessorWhileNothingHappens) {
    limits_.standInDelay = 20ms;
    auto* const member = connect();
    for (std::uint32_t const count : {1U, 2U}) {
        if (count == 2) commands_.hold();  // another thread waits for datagrams then
        ASSERT_EQ(member->send(count), 0);
        ASSERT_TRUE(commands_.await(count));
        ASSERT_EQ(notify(count), 0);
        ASSERT_TRUE(notifications_.await(count));
        EXPECT_LT(busyPart(), 0.2) << count;
    }
}

TEST_F(Transport, GarbageChangesNothing) {
    auto* const member = connect();
    ASSERT_EQ(member->send(1), 0);
    ASSERT_TRUE(commands_.await(1));
    auto const client = "127.0.0.1:" + std::to_string(commands_.sender().words[1]);

    testing::internal::CaptureStderr();
    Peer stranger(address_);
    LocalSocket const other;
    for (std::size_t size = 0; size < 100; ++size) {
        stranger.say(Bytes(size, 0x4C));
        other.send(client, Bytes(size, 0x4C));
    }
    stranger.join();
    auto const header = encodeMessageHeader({kCommand, {}});
    stranger.say(0, {header.begin(), header.end()});  // without its record
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
