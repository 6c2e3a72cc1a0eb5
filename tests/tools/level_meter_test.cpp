#include "LevelMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

/// What the meter shows of a stereo sine, in tenths of a second.
std::string shown(double amplitude, double hertz, double phase) {
    constexpr int kRate = 48000;
    tools::LevelMeter meter({kRate, 2});
    std::string line;
    for (int tenth = 0; tenth < 10; ++tenth) {
        std::vector<unsigned char> bytes;
        for (int frame = tenth * kRate / 10; frame < (tenth + 1) * kRate / 10; ++frame) {
            auto const angle = 2 * std::numbers::pi * hertz * frame / kRate + phase;
            auto const sample = std::lround(32767 * amplitude * std::sin(angle));
            auto const bits = static_cast<std::uint16_t>(sample);
            for (int channel = 0; channel < 2; ++channel) {
                bytes.push_back(static_cast<unsigned char>(bits));
                bytes.push_back(static_cast<unsigned char>(bits >> 8));
            }
        }
        meter.add(bytes);
        line = meter.line();
    }
    return line;
}

TEST(LevelMeter, ShowsTheTruePeakAndTheLoudness) {
    if (tools::makeLoudness(1, 48000) == nullptr) GTEST_SKIP() << "built without libebur128";
    // A sine of 997 Hz in both channels is as many LUFS as its peak has decibels.
    EXPECT_EQ(shown(0.5, 997, 0), "  dBTP  |##########- | -6.0  |##########- | -6.0  -6.0 LUFS");
    // Its samples reach no more than 0.71 of its peak.
    std::string const between = shown(1, 12000, std::numbers::pi / 4);
    EXPECT_NE(between.find("| -0.0"), std::string::npos) << between;
    EXPECT_NE(shown(0, 997, 0).find("| -60.0  -70.0 LUFS"), std::string::npos);
}

}  // namespace
