#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>

#include "BlockTimes.h"

namespace {

using sound::pipeline::BlockTimes;

constexpr BlockTimes::Nanoseconds kSecond = 1'000'000'000;
constexpr BlockTimes::Nanoseconds kBlock = kSecond / 50;

TEST(BlockTimes, FollowArrivalsWithoutGapOrDrift) {
    // The sound's clock is 300 ppm slow; blocks are up to 8 ms late, and once, all of a sudden,
    // 300.
    constexpr auto kReal = static_cast<BlockTimes::Nanoseconds>(kBlock * 1.0003);
    std::minstd_rand random(1);
    std::uniform_int_distribution<BlockTimes::Nanoseconds> lateness(0, 8'000'000);
    BlockTimes times(0);
    auto end = times.place(kBlock, kBlock).duration;
    for (int i = 2; i < 60 * 50; ++i) {
        auto const late = i == 1500 ? 300'000'000 : lateness(random);
        auto const place = times.place(i * kReal + late, kBlock);
        ASSERT_TRUE(place.follows) << i;
        ASSERT_EQ(place.begin, end) << i;
        ASSERT_NEAR(static_cast<double>(place.duration), kBlock, kBlock * (i == 1500 ? 0.11 : 0.01))
            << i;
        end = place.begin + place.duration;
        auto const mean = i * kReal + 4'000'000;
        ASSERT_TRUE(i < 20 * 50 || std::abs(end - mean) < 4'000'000) << i;
    }
}

TEST(BlockTimes, AreThoseOfTheArrivalAfterAPause) {
    BlockTimes times(kSecond);
    EXPECT_EQ(times.place(kSecond + 1, kBlock).begin, kSecond);
    auto const late = times.place(5 * kSecond, kBlock);
    EXPECT_FALSE(late.follows);
    EXPECT_EQ(late.begin, 5 * kSecond - kBlock);
    EXPECT_TRUE(times.place(5 * kSecond + kBlock, kBlock).follows);
    times.restart();
    EXPECT_FALSE(times.place(5 * kSecond + 3 * kBlock, kBlock).follows);
}

/// Who is told half the rate sees blocks that come twice as fast as they play, and the other way
/// round: their times are right all the same, and never run backwards.
TEST(BlockTimes, FollowAPaceThatContradictsTheFormat) {
    for (double const pace : {0.6, 1.6}) {
        BlockTimes times(0);
        auto const real = static_cast<BlockTimes::Nanoseconds>(kBlock * pace);
        times.place(kBlock, kBlock);
        BlockTimes::Nanoseconds end = 0;
        for (int i = 1; i < 120 * 50; ++i) {
            auto const place = times.place(kBlock + i * real, kBlock);
            ASSERT_GE(place.begin, end);
            ASSERT_GT(place.duration, 0);
            end = place.begin + place.duration;
        }
        EXPECT_LT(std::abs(end - 120 * 50 * real), kSecond / 10) << pace;
    }
}

}  // namespace
