#include "Link.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <vector>

namespace desktop {
namespace {

using namespace std::chrono_literals;

constexpr LinkLimits kLimits;

Payload payload(std::uint32_t number, std::size_t size = 4) {
    auto made = newPayload();
    made->bytes.resize(size);
    storeBig32(made->bytes.data(), number);
    return made;
}

/// Two links, and a network between them that loses, repeats and reorders. Time is simulated.
class Network {
public:
    Network(std::uint32_t capacity, double loss, double repetition)
        : a{Link(1, capacity, kLimits, now), {}, 0},
          b{Link(1, capacity, kLimits, now), {}, 0},
          loss_(loss),
          repetition_(repetition) {
        // What the registration tells each side of the other's credit.
        a.link.receive({Kind::kWelcome, 1, 0, 0, capacity}, 0, now);
        b.link.receive({Kind::kHello, 1, 0, 0, capacity}, 0, now);
    }

    struct End {
        Link link;
        std::vector<std::uint32_t> received;
        std::uint32_t unconsumed;
    };

    /// Lets 1 ms pass.
    void step() {
        now += 1ms;
        transmit(a, b);
        transmit(b, a);
        while (!flying_.empty() && flying_.begin()->first <= now) {
            auto const [to, outgoing] = flying_.begin()->second;
            flying_.erase(flying_.begin());
            if (!to->link.receive(outgoing.header,
                                  outgoing.payload ? outgoing.payload->bytes.size() : 0, now))
                continue;
            to->received.push_back(loadBig32(outgoing.payload->bytes.data()));
            ++to->unconsumed;
        }
    }

    static void consume(End& end) {
        for (; end.unconsumed > 0; --end.unconsumed) end.link.consumed();
    }

    TimePoint now{1h};
    End a;
    End b;
    std::size_t sent = 0;

private:
    void transmit(End& from, End& to) {
        while (auto const outgoing = from.link.next(now)) {
            ++sent;
            for (bool again = true; again; again = chance_(random_) < repetition_) {
                if (chance_(random_) < loss_) continue;
                auto const delay = std::chrono::microseconds(100 + random_() % 5000);
                flying_.emplace(now + delay, std::pair(&to, *outgoing));
            }
        }
    }

    double loss_;
    double repetition_;
    std::mt19937 random_{42};
    std::uniform_real_distribution<> chance_{0, 1};
    std::multimap<TimePoint, std::pair<End*, Link::Outgoing>> flying_;
};

TEST(Link, LosesNothingAndKeepsTheOrderOnABadNetwork) {
    Network network(8, 0.2, 0.2);
    constexpr std::uint32_t kCount = 500;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        network.a.link.send(payload(i, 4 + i * 97 % 30'000), network.now);
        network.b.link.send(payload(i), network.now);
    }
    for (int ms = 0; network.a.link.queued() + network.b.link.queued() > 0; ++ms) {
        ASSERT_LT(ms, 600'000);
        network.step();
        ASSERT_LE(std::max(network.a.unconsumed, network.b.unconsumed), 8U);
        if (ms % 3 == 0) {
            Network::consume(network.a);
            Network::consume(network.b);
        }
        ASSERT_FALSE(network.a.link.isSilent(network.now));
    }
    ASSERT_EQ(network.a.received.size(), kCount);
    ASSERT_EQ(network.b.received.size(), kCount);
    EXPECT_TRUE(std::is_sorted(network.a.received.begin(), network.a.received.end()));
    EXPECT_TRUE(std::is_sorted(network.b.received.begin(), network.b.received.end()));
    EXPECT_EQ(network.a.link.queuedBytes(), 0U);
}

TEST(Link, SendsNoMoreThanTheReceiverHasRoomForAndGoesOnWhenItHas) {
    Network network(4, 0, 0);
    for (std::uint32_t i = 0; i < 10; ++i) network.a.link.send(payload(i), network.now);
    for (int ms = 0; ms < 20'000; ++ms) network.step();
    EXPECT_EQ(network.b.received.size(), 4U);
    EXPECT_EQ(network.a.link.queued(), 6U);
    EXPECT_FALSE(network.a.link.isSilent(network.now)) << "the receiver is busy, not gone";
    EXPECT_LT(network.sent, 200U) << "waiting for credit must not flood the peer";

    Network::consume(network.b);
    for (int ms = 0; ms < 500; ++ms) network.step();
    EXPECT_EQ(network.b.received.size(), 8U);
}

TEST(Link, KeepsTheWindowOfDatagramsAndBytes) {
    for (auto const& [size, sent] : {std::pair{4, kLimits.maxInFlight}, {30'000, std::size_t{2}}}) {
        Network network(1000, 1, 0);
        for (std::uint32_t i = 0; i < 100; ++i) {
            network.a.link.send(payload(i, static_cast<std::size_t>(size)), network.now);
        }
        network.step();
        EXPECT_EQ(network.sent, sent) << size;
    }
}

TEST(Link, FindsASilentPeerAfterFiveSecondsButNotAfterItsOwnPause) {
    Network network(4, 0, 0);
    network.step();
    auto& link = network.a.link;
    auto const heard = network.now;
    auto now = heard;
    for (; !link.isSilent(now); now += 10ms) {
        ASSERT_LT(now, heard + 10s);
        while (link.next(now)) continue;
    }
    EXPECT_NEAR(std::chrono::duration<double>(now - heard).count(), 5, 0.2);

    Network paused(4, 0, 0);
    paused.step();
    paused.now += 60s;
    EXPECT_FALSE(paused.a.link.isSilent(paused.now));
    for (int ms = 0; ms < 20; ++ms) paused.step();
    EXPECT_FALSE(paused.a.link.isSilent(paused.now));
}

TEST(Link, IgnoresAcknowledgementsOfWhatWasNeverSent) {
    Network network(4, 0, 0);
    network.a.link.send(payload(0), network.now);
    network.a.link.receive({Kind::kAcknowledge, 1, 0, 1, 100}, 0, network.now);
    network.a.link.receive({Kind::kAcknowledge, 1, 0, 0x80000000, 100}, 0, network.now);
    EXPECT_EQ(network.a.link.queued(), 1U);
}

}  // namespace
}  // namespace desktop
