#include <sys/wait.h>

#include <csignal>

#include "test_support.h"

namespace desktop::test {
namespace {

using Framework = Desktop;

TEST_F(Framework, RefusesWhatItCannotStart) {
    auto process = frame::Process::getInstance();
    EXPECT_EQ(process.startAppMembersSync(nullptr), -EINVAL);
    testing::internal::CaptureStderr();
    EXPECT_EQ(process.startAppMembersSync([]() -> void** { return nullptr; }), -ENOMEM);
    stopAppMembers();
    setenv("LMQR2_UDPHOST", "localhost", 1);
    EXPECT_EQ(startMembers({}), -EINVAL);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("127.0.0.1:12321"), std::string::npos);
}

TEST_F(Framework, FailedStartLeavesNoNewMemberAndTheOldOnesAsTheyWere) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox first;
    auto* const old = startMember(first);
    int oldInterface = 0;
    int newInterface = 0;
    old->registerInterface(&oldInterface, "name");

    Inbox second;
    auto* const good = new Member(&second);
    auto* const bad = new Member(&second);
    good->registerInterface(&newInterface, "name");
    bad->startStatus = -77;
    Member::destroyed = 0;
    Member::stopped = 0;
    EXPECT_EQ(startMembers({good, bad}), -77);
    EXPECT_EQ(Member::destroyed, 2);
    EXPECT_EQ(Member::stopped, 1) << "only the one that had started";
    old->unregisterInterface(&newInterface);
    EXPECT_EQ(findInterface("name"), &oldInterface);

    ASSERT_TRUE(eventually([&] { return old->connected == 1; }));
    sendNumber(service->ioModule(), kNotification, 1);
    EXPECT_TRUE(first.await(1));
    EXPECT_TRUE(second.numbers().empty());
    old->unregisterInterface(&oldInterface);
    EXPECT_EQ(findInterface("name"), nullptr);
}

TEST_F(Framework, StartingAgainLeavesOneSetOfReceiversAndMissesNothing) {
    Inbox commands;
    auto const service = startService(commands);
    std::atomic<std::uint32_t> sent = 0;
    std::atomic<bool> enough = false;
    Inbox inbox;
    auto* member = startMember(inbox);
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    std::thread sender([&] {
        for (; !enough; std::this_thread::sleep_for(50us)) {
            sendNumber(service->ioModule(), kNotification, sent++);
        }
    });
    Member::destroyed = 0;
    auto* const retired = member;
    for (int i = 0; i < 20; ++i) {
        member = startMember(inbox);
        ASSERT_TRUE(inbox.await(inbox.numbers().size() + 5));
    }
    enough = true;
    sender.join();
    ASSERT_TRUE(inbox.await(sent));
    auto const numbers = inbox.numbers();
    ASSERT_EQ(numbers.size(), sent) << "each notification reaches one member";
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(Member::destroyed, 0);
    EXPECT_EQ(sendNumber(retired->module(), kCommand, 1), 0) << "a replaced member still sends";
    EXPECT_TRUE(eventually([&] { return member->connected == 1; }));
    stopAppMembers();
    EXPECT_EQ(Member::destroyed, 21);
}

TEST_F(Framework, MemberIsDestroyedOnlyWhenNoNotificationCanReachIt) {
    Inbox commands;
    auto const service = startService(commands);
    std::atomic<bool> enough = false;
    std::thread sender([&] {
        while (!enough) sendNumber(service->ioModule(), kNotification, 1);
    });
    for (int i = 0; i < 20; ++i) {
        auto inbox = std::make_unique<Inbox>();
        startMember(*inbox);
        ASSERT_TRUE(inbox->await(10));
        stopAppMembers();
    }
    enough = true;
    sender.join();
}

TEST_F(Framework, ReceiverThatThrowsIsFollowedByTheNextMessage) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox inbox([](std::uint32_t number, auto const&) {
        if (number == 1) throw std::runtime_error("no such number");
    });
    auto* const member = startMember(inbox);
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    testing::internal::CaptureStderr();
    sendNumber(service->ioModule(), kNotification, 1);
    sendNumber(service->ioModule(), kNotification, 2);
    EXPECT_TRUE(inbox.await(1));
    EXPECT_EQ(inbox.numbers(), std::vector<std::uint32_t>{2});
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no such number"), std::string::npos);
}

TEST_F(Framework, ForkedChildThatExitsLeavesTheConnectionAlone) {
    Inbox commands;
    auto const service = startService(commands);
    Inbox inbox;
    auto* const member = startMember(inbox);
    ASSERT_TRUE(eventually([&] { return member->connected == 1; }));
    auto const child = fork();
    if (child == 0) {
        stopAppMembers();
        _exit(0);
    }
    ASSERT_TRUE(eventually([&] { return waitpid(child, nullptr, WNOHANG) == child; }));
    EXPECT_EQ(sendNumber(member->module(), kCommand, 1), 0);
    EXPECT_TRUE(commands.await(1));
    EXPECT_EQ(member->disconnected, 0);
}

/// Ends the process while a receiver is at work; exits with 3 when that works.
class Exit : public Desktop {
protected:
    void exitDuring(Inbox::React const& react, bool returnToMain) const {
        alarm(10);
        static Inbox commands;
        static auto const service = startService(commands).release();
        static std::atomic<bool> running = false;
        // Not destroyed with the statics, as a receiver that hangs keeps using it.
        static auto& inbox = *new Inbox([react](auto number, auto const& sender) {
            running = true;
            running.notify_all();
            react(number, sender);
        });
        auto* const member = startMember(inbox);
        eventually([&] { return member->connected == 1; });
        sendNumber(service->ioModule(), kNotification, 1);
        running.wait(false);
        if (!returnToMain) pause();
        auto const begin = std::chrono::steady_clock::now();
        stopAppMembers();
        std::exit(std::chrono::steady_clock::now() - begin < 1s ? 3 : 4);
    }
};

TEST_F(Exit, IsNotHeldUpByAReceiverThatNeverReturns) {
    EXPECT_EXIT(exitDuring([](auto, auto const&) { pause(); }, true), testing::ExitedWithCode(3),
                "");
}

TEST_F(Exit, WorksFromInsideAReceiver) {
    EXPECT_EXIT(exitDuring([](auto, auto const&) { std::exit(3); }, false),
                testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace desktop::test
