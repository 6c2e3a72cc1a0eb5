#include <sys/wait.h>

#include <csignal>
#include <filesystem>
#include <fstream>

#include "Address.h"
#include "test_support.h"

namespace desktop::test {
namespace {

using Framework = Desktop;

TEST_F(Framework, RefusesWhatItCannotStart) {
    auto process = frame::Process::getInstance();
    EXPECT_EQ(process.startAppMembersSync(nullptr), -EINVAL);
    testing::internal::CaptureStderr();
    EXPECT_EQ(process.startAppMembersSync([]() -> void** { return nullptr; }), -ENOMEM);
    auto* const deaf = new Member(nullptr);
    deaf->registerStatus = -77;
    EXPECT_EQ(startMembers({deaf}), -77);
    stopAppMembers();
    for (auto const* const address : {"localhost", "127.0.0.1", "127.0.0.1:0", "127.0.0.1:65536",
                                      "127.0.0.1:1x", "127.0.0.1:", "1.2.3:4", ":1"}) {
        setenv("LMQR2_UDPHOST", address, 1);
        EXPECT_EQ(startMembers({}), -EINVAL) << address;
    }
    EXPECT_NE(testing::internal::GetCapturedStderr().find("127.0.0.1:12321"), std::string::npos);
    for (auto const* const address : {"1.2.3.4:1", "254.253.252.251:65535"}) {
        EXPECT_EQ(Address::parse(address).toString(), address);
    }
}

TEST_F(Framework, RefusesReceiversThatItCannotCall) {
    startService();
    auto* const module = service_->ioModule();
    auto const add = frameLmqIOServiceRegisterMessageHandlerFunction;
    EXPECT_EQ(add(nullptr, kCommand, &Inbox::receive, nullptr, &kNumberTable), -EINVAL);
    EXPECT_EQ(add(module, kCommand, nullptr, nullptr, &kNumberTable), -EINVAL);
    EXPECT_EQ(add(module, kCommand, &Inbox::receive, nullptr, nullptr), -EINVAL);
}

TEST_F(Framework, FailedStartLeavesNoNewMemberAndTheOldOnesAsTheyWere) {
    auto* const old = connect();
    int oldInterface = 0;
    int newInterface = 0;
    old->registerInterface(&oldInterface, "name");

    Inbox second;
    auto* const first = new Member(&second);
    auto* const good = new Member(&second);
    auto* const bad = new Member(&second);
    good->registerInterface(&newInterface, "name");
    bad->startStatus = -77;
    Member::destroyed = 0;
    Member::stopped.clear();
    EXPECT_EQ(startMembers({first, good, bad}), -77);
    EXPECT_EQ(Member::destroyed, 3);
    EXPECT_EQ(Member::attached, 1);
    EXPECT_EQ(Member::stopped, (std::vector{good, first})) << "who has started, the last one first";
    old->unregisterInterface(&newInterface);
    EXPECT_EQ(findInterface("name"), &oldInterface);

    notify(1);
    EXPECT_TRUE(notifications_.await(1));
    EXPECT_TRUE(second.numbers().empty());
    old->unregisterInterface(&oldInterface);
    EXPECT_EQ(findInterface("name"), nullptr);
    stopAppMembers();
    EXPECT_EQ(Member::attached, 0);
}

TEST_F(Framework, StartingAgainLeavesOneSetOfReceiversAndMissesNothing) {
    std::atomic<std::uint32_t> sent = 0;
    std::atomic<bool> enough = false;
    auto* member = connect();
    std::thread sender([&] {
        for (; !enough; std::this_thread::sleep_for(50us)) {
            notify(sent++);
        }
    });
    Member::destroyed = 0;
    auto* const retired = member;
    for (int i = 0; i < 20; ++i) {
        member = startMember(notifications_);
        ASSERT_TRUE(notifications_.await(notifications_.numbers().size() + 5));
    }
    enough = true;
    sender.join();
    ASSERT_TRUE(notifications_.await(sent));
    auto const numbers = notifications_.numbers();
    ASSERT_EQ(numbers.size(), sent) << "each notification reaches one member";
    EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()));
    EXPECT_EQ(Member::destroyed, 0);
    EXPECT_EQ(retired->send(1), 0) << "a replaced member still sends";
    EXPECT_TRUE(eventually([&] { return member->connected == 1; }));
    stopAppMembers();
    EXPECT_EQ(Member::destroyed, 21);
}

TEST_F(Framework, WhoIsStartedByAReceiverDoesNotGetItsMessageToo) {
    notifications_.react = [this](std::uint32_t number, auto const&) {
        if (number != 1) return;
        startMember(notifications_);
        startMember(notifications_);
    };
    connect();
    for (std::uint32_t i = 1; i < 4; ++i) notify(i);
    EXPECT_TRUE(notifications_.await(3));
    EXPECT_EQ(notifications_.numbers(), (std::vector<std::uint32_t>{1, 2, 3}));
}

TEST_F(Framework, MemberIsDestroyedOnlyWhenNoNotificationCanReachIt) {
    startService();
    std::atomic<bool> enough = false;
    std::thread sender([&] {
        while (!enough) notify(1);
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

TEST_F(Framework, SignalsStayWithTheHostsThreads) {
    connect();
    int threads = 0;
    for (auto const& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string line;
        std::getline(std::ifstream(task.path() / "comm"), line);
        if (line != "transport" && line != "delivery") continue;
        ++threads;
        auto const isBlocked = [status = task.path() / "status"](int signal) {
            std::ifstream file(status);
            std::string mask;
            while (std::getline(file, mask) && !mask.starts_with("SigBlk:")) continue;
            return (std::stoull(mask.substr(7), nullptr, 16) >> (signal - 1) & 1U) != 0;
        };
        // The C library starts a thread with all of them blocked.
        EXPECT_TRUE(eventually([&] { return !isBlocked(SIGSEGV); }));
        for (int const signal : {SIGTERM, SIGINT, SIGCHLD, SIGUSR1, SIGALRM}) {
            EXPECT_TRUE(isBlocked(signal)) << signal;
        }
    }
    EXPECT_EQ(threads, 4) << "of a service and of a client";
    sigset_t own;
    pthread_sigmask(SIG_BLOCK, nullptr, &own);
    EXPECT_EQ(sigismember(&own, SIGTERM), 0);
}

TEST_F(Framework, ReceiverThatThrowsIsFollowedByTheNextMessage) {
    notifications_.react = [](std::uint32_t number, auto const&) {
        if (number == 1) throw std::runtime_error("no such number");
    };
    connect();
    testing::internal::CaptureStderr();
    notify(1);
    notify(2);
    EXPECT_TRUE(notifications_.await(1));
    EXPECT_EQ(notifications_.numbers(), std::vector<std::uint32_t>{2});
    EXPECT_NE(testing::internal::GetCapturedStderr().find("no such number"), std::string::npos);
}

TEST_F(Framework, ReceiverThatEndsItsThreadEndsDeliveryAndNothingElse) {
    notifications_.react = [](auto, auto const&) { pthread_exit(nullptr); };
    auto* const member = connect();
    testing::internal::CaptureStderr();
    for (std::uint32_t i = 0; i < 500; ++i) notify(i);
    for (std::uint32_t i = 0; i < 500; ++i) ASSERT_EQ(member->send(i), 0);
    EXPECT_TRUE(commands_.await(500));
    stopAppMembers();
    EXPECT_NE(testing::internal::GetCapturedStderr().find("ended the delivery thread"),
              std::string::npos);
}

TEST_F(Framework, ForkedChildThatExitsLeavesTheConnectionAlone) {
    auto* const member = connect();
    auto const child = fork();
    if (child == 0) {
        stopAppMembers();
        _exit(0);
    }
    ASSERT_TRUE(eventually([&] { return waitpid(child, nullptr, WNOHANG) == child; }));
    EXPECT_EQ(member->send(1), 0);
    EXPECT_TRUE(commands_.await(1));
    EXPECT_EQ(member->disconnected, 0);
}

/// Ends the process while a receiver is at work; exits with 3 when that works.
class Exit : public Desktop {
protected:
    void exitDuring(Inbox::React const& react, bool returnToMain) {
        alarm(10);
        std::atomic<bool> running = false;
        notifications_.react = [&](auto number, auto const& sender) {
            running = true;
            running.notify_all();
            react(number, sender);
        };
        connect();
        notify(1);
        running.wait(false);
        if (!returnToMain) pause();
        auto const begin = std::chrono::steady_clock::now();
        stopAppMembers();
        std::exit(std::chrono::steady_clock::now() - begin < 3s ? 3 : 4);
    }
};

TEST_F(Exit, WorksBesideAReceiverThatNeverReturnsAndFromInsideOne) {
    EXPECT_EXIT(exitDuring([](auto, auto const&) { pause(); }, true), testing::ExitedWithCode(3),
                "");
    EXPECT_EXIT(exitDuring([](auto, auto const&) { std::exit(3); }, false),
                testing::ExitedWithCode(3), "");
}

}  // namespace
}  // namespace desktop::test
