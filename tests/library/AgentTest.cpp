// The agent's C functions. The agent's state lives as long as the process: CTest gives each test
// its own.
#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <new>
#include <stdexcept>
#include <thread>

#include "AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AgentTest : public AgentFixture {
protected:
    int first_ = 0;
    int second_ = 0;
};

// First in this program: no callback can be taken back.
TEST_F(AgentTest, withoutACallbackThePipeIsLeftAlone) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    platform().log.clear();
    EXPECT_EQ(notify("/no/such/pipe", 100), 0);
    EXPECT_EQ(notify("/no/such/pipe", 20000), 0);
    EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(AgentTest, startBringsTheAgentUpInOrder) {
    char program[] = "host";
    char* argv[] = {program, nullptr};
    setenv("LMQR2_UDPHOST", "192.0.2.1:9", 1);
    EXPECT_EQ(audioCB_init(1, argv), 0) << "whatever cspDebugInit() says";
    EXPECT_EQ(platform().argc, 1);
    EXPECT_EQ(platform().argv, argv);
    EXPECT_EQ(platform().udpHostAtStart, "127.0.0.1:12321");
    EXPECT_EQ(platform().factory, &CreateSoundProxy);
    EXPECT_THAT(platform().calls,
                ElementsAre("cspDebugInit", "getInstance", "startAppMembersSync",
                            "performSetupDone", "registerInterface tarvo.lm.interfaces.sound",
                            "performStarting", "~Process", "setSelfReference", "init"));
    EXPECT_EQ(platform().log.back(), proxyLine(kCspDebugInfo, "addClient", "success, 1 total.\n"));
}

TEST_F(AgentTest, failuresBecomeAStatusAndLeaveNothingBehind) {
    platform().onStart = [] { return -111; };
    EXPECT_EQ(audioCB_init(0, nullptr), -111);
    EXPECT_THAT(platform().calls,
                ElementsAre("cspDebugInit", "getInstance", "startAppMembersSync", "~Process"));
    platform().onStart = []() -> std::int32_t { throw std::bad_alloc(); };
    EXPECT_EQ(audioCB_init(0, nullptr), -ENOMEM);
    platform().onStart = []() -> std::int32_t { throw std::runtime_error("no framework"); };
    EXPECT_EQ(audioCB_init(0, nullptr), -EIO);
    EXPECT_THAT(platform().log, ElementsAre(errorLine("audioCB_init", "out of memory\n"),
                                            errorLine("audioCB_init", "no framework\n")));
    EXPECT_THAT(platform().listeners, IsEmpty());
    platform().onStart = nullptr;
    ASSERT_EQ(audioCB_init(0, nullptr), 0) << "it may be tried again";

    platform().onSend = [](auto const&) -> std::int32_t { throw std::bad_alloc(); };
    request(1, take);
    EXPECT_EQ(result_, -ENOMEM);
    platform().onSend = [](auto const&) -> std::int32_t { throw 1; };
    request(1, take);
    EXPECT_EQ(result_, -EIO);
    EXPECT_EQ(platform().log.back(), errorLine("set_audioCallback", "unknown exception\n"));
    platform().onSend = [](auto const&) -> std::int32_t { pthread_exit(nullptr); };
    std::thread([this] { request(1, take); }).join();
    testing::internal::GetCapturedStdout();
    platform().onSend = nullptr;
    request(1, take);
    EXPECT_EQ(result_, 0) << "the lock was released";
}

TEST_F(AgentTest, aSecondStartReplacesTheListener) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    sound::ServiceInterface* const firstService = platform().service();
    request(1, take, &first_);
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    EXPECT_EQ(platform().listeners.size(), 2U) << "the first proxy still has its client";
    EXPECT_EQ(announce("once"), 0);
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].userData, &first_);
    frame::MsgIds msgIds{};
    EXPECT_EQ(firstService->cmdInitAMP(msgIds, transport_), 0);

    platform().members.erase(platform().members.begin());
    EXPECT_EQ(platform().listeners.size(), 1U) << "the agent let go of its first listener";
}

TEST_F(AgentTest, enablingSendsTheCommand) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    for (auto const& [enable, word] : {std::pair{1, 1U}, {0, 0U}, {-5, 1U}, {256, 1U}}) {
        EXPECT_EQ(request(enable, take), "set_audioCallback= " + std::to_string(enable) + "\n");
        EXPECT_EQ(result_, 0);
        recording::Message const& message = platform().sent.back();
        EXPECT_EQ(message.header.messageId, 0x2867125EU);
        EXPECT_THAT(message.msgIdsValue.words, ElementsAre(0xFFFFFFFF, 0xFFFFFFFF));
        std::uint32_t sent = 2;
        ASSERT_EQ(message.record.size(), sizeof sent);
        std::memcpy(&sent, message.record.data(), sizeof sent);
        EXPECT_EQ(sent, word);
    }
    platform().onSend = [](auto const&) { return -111; };
    request(1, take);
    EXPECT_EQ(result_, 0) << "the command's result does not matter";
}

TEST_F(AgentTest, theCallbackIsInPlaceBeforeTheCommandGoesOut) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    platform().onSend = [this](auto const&) { return announce("early"); };
    request(1, take, &first_);
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].userData, &first_);
}

TEST_F(AgentTest, aNullCallbackReplacesOnlyTheUserData) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    request(1, take, &first_);
    platform().sent.clear();
    EXPECT_EQ(request(7, nullptr, &second_), "set_audioCallback= 7\n");
    EXPECT_EQ(result_, -1);
    EXPECT_THAT(platform().sent, IsEmpty());
    EXPECT_EQ(platform().log.back(), errorLine("set_audioCallback", "cb is NULL\n"));
    announce("block");
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].userData, &second_);
}

TEST_F(AgentTest, withoutAnInterfaceTheCallbackIsStoredAllTheSame) {
    EXPECT_EQ(request(1, take, &first_), "set_audioCallback= 1\n");
    EXPECT_EQ(result_, -ENOTCONN);
    ASSERT_EQ(platform().log.size(), 1U);
    EXPECT_EQ(platform().log[0].levelWord, kCspDebugError);
    EXPECT_THAT(platform().log[0].text, testing::HasSubstr("audioCB_init"));

    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    announce("block");
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].userData, &first_);

    platform().interfaces.clear();
    request(1, take, &second_);
    EXPECT_EQ(result_, -ENOTCONN);
    EXPECT_THAT(platform().sent, IsEmpty());
}

TEST_F(AgentTest, blocksMayArriveWhileTheCallbackChanges) {
    ASSERT_EQ(audioCB_init(0, nullptr), 0);
    platform().threshold = 1000;
    testing::internal::CaptureStdout();
    set_audioCallback(1, take, &first_);
    std::atomic<bool> done = false;
    std::thread host([&] {
        for (int i = 0; i < 300; ++i) set_audioCallback(i, take, i % 2 == 0 ? &first_ : &second_);
        done = true;
    });
    int announced = 0;
    for (; !done; ++announced) EXPECT_EQ(announce("block"), 0);
    host.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(blocks_.size(), static_cast<std::size_t>(announced));
}

}  // namespace
