// What fuzz/link_model.cpp cannot tell: that a link says no more than it has to, and not
// before. What it promises on any network is checked there.
#include "Link.h"

#include <gtest/gtest.h>

#include <string>

namespace desktop {
namespace {

using namespace std::chrono_literals;

/// One end, whose peer the test plays.
class LinkTest : public testing::Test {
protected:
    bool hear(Kind kind, std::uint32_t acknowledge, std::uint32_t credit = 100) {
        return link_.receive({kind, 1, 0, acknowledge, credit}, 0, now_);
    }

    /// The next message comes.
    void hearMessage(std::size_t size = 4) {
        EXPECT_TRUE(link_.receive({Kind::kData, 1, heard_++, 0, 100}, size, now_));
    }

    void send(std::size_t count, std::size_t size = 4) {
        for (; count > 0; --count) {
            auto payload = newPayload();
            payload->bytes.resize(size);
            link_.send(std::move(payload), now_);
        }
    }

    /// @return the kinds and numbers of what it sends now
    std::string says() {
        static constexpr char kKinds[] = "?HWDAPBR";
        std::string text;
        while (auto const outgoing = link_.next(now_)) {
            text += kKinds[static_cast<std::size_t>(outgoing->header.kind)];
            if (outgoing->payload) text += std::to_string(outgoing->header.sequence);
        }
        return text;
    }

    TimePoint now_{1h};
    Link link_{1, 12, {}, now_};
    std::uint32_t heard_ = 0;
};

TEST_F(LinkTest, AcknowledgesByCountBytesAgeOrDelayAndNotBefore) {
    struct {
        int messages;
        std::size_t size;
        std::chrono::milliseconds pause;
    } const cases[] = {{8, 4, 0ms}, {2, 8192, 0ms}, {3, 5462, 1ms}, {2, 4, 60ms}, {3, 4, 30ms}};
    for (auto const& [messages, size, pause] : cases) {
        for (int i = 0; i < messages; ++i, now_ += pause) {
            EXPECT_EQ(says(), "");
            hearMessage(size);
        }
        now_ -= pause;
        EXPECT_EQ(says(), "A") << messages;
        for (int i = 0; i < messages; ++i) link_.consumed();
        says();
    }
    hearMessage();
    now_ += 149ms;
    EXPECT_EQ(says(), "");
    EXPECT_EQ(link_.deadline(), now_ + 1ms);
    now_ += 1ms;
    EXPECT_EQ(says(), "A");
}

TEST_F(LinkTest, TellsThatThereIsRoomAgainWhenItIsHalfTheQueue) {
    for (int i = 0; i < 12; ++i) hearMessage();
    EXPECT_FALSE(link_.receive({Kind::kData, 1, 12, 0, 100}, 4, now_)) << "there is no room";
    EXPECT_EQ(says(), "A");
    for (int i = 0; i < 5; ++i) link_.consumed();
    EXPECT_EQ(says(), "");
    link_.consumed();
    EXPECT_EQ(says(), "A");
}

TEST_F(LinkTest, RepeatsAtOnceWhatThePeerMissesOnceUntilThereIsProgress) {
    hear(Kind::kWelcome, 0);
    send(3);
    EXPECT_EQ(says(), "D0D1D2");
    hear(Kind::kBye, 0);
    EXPECT_EQ(says(), "") << "only an ACK says that something is missing";
    hear(Kind::kAcknowledge, 0);
    EXPECT_EQ(says(), "D0D1D2");
    hear(Kind::kAcknowledge, 0);
    EXPECT_EQ(says(), "");
    hear(Kind::kAcknowledge, 2, 98);
    EXPECT_EQ(says(), "");
    hear(Kind::kAcknowledge, 2, 98);
    EXPECT_EQ(says(), "D2");
    hear(Kind::kAcknowledge, 3, 97);
    hear(Kind::kAcknowledge, 3, 97);
    EXPECT_EQ(says(), "");
}

TEST_F(LinkTest, CountsTheTimeToTheFirstRepetitionFromTheMessage) {
    for (auto const& sendOne : {&Link::send, &Link::sendFirst}) {
        link_.restart(2, now_);
        link_.dropQueued();
        hear(Kind::kWelcome, 0);
        now_ += 1s;
        (link_.*sendOne)(newPayload(), now_);
        EXPECT_EQ(says(), "D0");
        now_ += 299ms;
        EXPECT_EQ(says(), "");
        now_ += 1ms;
        EXPECT_EQ(says(), "D0");
    }

    link_ = Link(1, 1, {}, now_);
    hear(Kind::kWelcome, 0);
    send(2);
    EXPECT_EQ(says(), "D0D1");
    now_ += 299ms;
    hear(Kind::kAcknowledge, 1, 99);
    now_ += 299ms;
    EXPECT_EQ(says(), "") << "there was progress";
    now_ += 1ms;
    EXPECT_EQ(says(), "D1");
}

TEST_F(LinkTest, SendsAWindowOfMessagesAndOneOfBytes) {
    for (auto const& [size, count] : {std::pair{4, 32}, {16384, 4}, {16385, 3}, {65507, 1}}) {
        link_ = Link(1, 1, {}, now_);
        hear(Kind::kWelcome, 0);
        send(40, static_cast<std::size_t>(size));
        says();
        hear(Kind::kAcknowledge, static_cast<std::uint32_t>(count), 0);
        EXPECT_EQ(link_.queued(), 40U - static_cast<std::size_t>(count)) << size;
        hear(Kind::kAcknowledge, static_cast<std::uint32_t>(count) + 1);
        auto const left = 40U - static_cast<std::size_t>(count);
        EXPECT_EQ(link_.queued(), left) << "not sent yet";
        link_.restart(2, now_);
        EXPECT_EQ(link_.queuedBytes(), left * static_cast<std::size_t>(size));
    }
}

TEST_F(LinkTest, TakesTheFurthestCreditAndNoneFromAWrongAcknowledgement) {
    send(40);
    EXPECT_EQ(says(), "") << "no credit before the peer's first datagram";
    hear(Kind::kAcknowledge, 1, 50);
    hear(Kind::kAcknowledge, 0x80000000, 50);
    hear(Kind::kAcknowledge, 0, 2);
    hear(Kind::kAcknowledge, 0, 1);
    EXPECT_EQ(says(), "D0D1");
    EXPECT_EQ(link_.queued(), 40U);
    hear(Kind::kAcknowledge, 2, 0xFFFFFFFF);
    hear(Kind::kAcknowledge, 2, 2);
    EXPECT_NE(says(), "");
}

TEST_F(LinkTest, AsksASilentPeerAndAfterItsOwnPauseNotLessThanFourTimes) {
    now_ += 60s;
    for (int i = 0; i < 4; ++i, now_ += 1s) {
        EXPECT_FALSE(link_.isSilent(now_));
        EXPECT_EQ(says(), "P");
        EXPECT_EQ(says(), "");
    }
    EXPECT_TRUE(link_.isSilent(now_));
    EXPECT_FALSE(link_.isSilent(now_ - 1ms));
}

}  // namespace
}  // namespace desktop
