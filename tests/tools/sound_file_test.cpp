// What libsndfile reads, played as 16 bits.
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <stdexcept>

#include "Sound.h"
#include "TemporaryFolder.h"

namespace sound::service {
namespace {

using Samples = std::vector<float>;

std::string write(std::string const& path, int format, Samples const& samples) {
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 2;
    info.format = format;
    SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
    sf_write_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
    return path;
}

std::vector<int> played(Sound const& sound) {
    std::vector<int> samples;
    for (auto const sample : sound.samples) samples.push_back(toPipeOrder(sample));
    return samples;
}

TEST(SoundFile, WhatIsExactIsRoundedAndNeverMadeLouder) {
    TemporaryFolder const folder;
    auto const file = folder.file("sound");
    Samples const quiet{0.F, 0.25F, -0.25F, 100.5F / 32768, -100.75F / 32768, 0.F};
    std::vector<int> const expected{0, 8192, -8192, 100, -101, 0};
    for (int const format : {SF_FORMAT_WAV | SF_FORMAT_PCM_24, SF_FORMAT_WAV | SF_FORMAT_PCM_32,
                             SF_FORMAT_WAV | SF_FORMAT_FLOAT, SF_FORMAT_AIFF | SF_FORMAT_DOUBLE,
                             SF_FORMAT_FLAC | SF_FORMAT_PCM_24, SF_FORMAT_AU | SF_FORMAT_FLOAT}) {
        auto const sound = readSoundFile(write(file, format, quiet));
        EXPECT_EQ(played(sound), expected) << std::hex << format;
        EXPECT_EQ(sound.rate, 48000U);
        EXPECT_EQ(sound.channels, 2U);
        EXPECT_NE(sound.describe().find(", converted from "), std::string::npos);
    }
    Samples const loud{1.F, -1.F, 7.F, -7.F, std::nanf(""), INFINITY};
    auto const clipped = readSoundFile(write(file, SF_FORMAT_WAV | SF_FORMAT_FLOAT, loud));
    EXPECT_EQ(played(clipped), (std::vector<int>{32767, -32768, 32767, -32768, 0, 32767}));

    auto const converted = readSoundFile(write(file, SF_FORMAT_WAV | SF_FORMAT_PCM_24, quiet));
    EXPECT_NE(converted.describe().find("from Signed 24 bit PCM to"), std::string::npos);
    auto const same = readSoundFile(write(file, SF_FORMAT_WAV | SF_FORMAT_PCM_16, {0.5F, 0.F}));
    EXPECT_EQ(same.describe(), "48000 Hz, 2 channels, 0.00 s");
}

TEST(Tone, IsASineOnAllChannels) {
    constexpr int kRate = 1000;
    auto const samples = played(makeTone(3, kRate, 2, {}));
    ASSERT_EQ(samples.size(), 2U * kRate);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        auto const frame = static_cast<double>(i / 2);
        EXPECT_NEAR(samples[i], 16384 * std::sin(2 * std::numbers::pi * 3 * frame / kRate), 1) << i;
    }
}

TEST(SoundFile, CompressedSoundIsAsLongAndAsLoudAsItWas) {
    TemporaryFolder const folder;
    Samples tone;
    for (int frame = 0; frame < 48000; ++frame) {
        auto const value = 0.25 * std::sin(2 * std::numbers::pi * 440 * frame / 48000);
        tone.insert(tone.end(), 2, static_cast<float>(value));
    }
    for (int const format : {SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS,
                             SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}) {
        if (SF_INFO info{0, 48000, 2, format, 0, 0}; sf_format_check(&info) == 0) continue;
        auto const sound = readSoundFile(write(folder.file("sound"), format, tone));
        auto const samples = played(sound);
        ASSERT_FALSE(samples.empty());
        auto const seconds = static_cast<double>(samples.size()) / 2 / sound.rate;
        EXPECT_NEAR(seconds, 1, 0.08) << std::hex << format;
        auto const middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
        EXPECT_NEAR(*std::max_element(middle, middle + 4000), 8192, 400) << std::hex << format;
    }
    auto const cutOff = write(folder.file("sound"), SF_FORMAT_FLAC | SF_FORMAT_PCM_16, tone);
    std::filesystem::resize_file(cutOff, std::filesystem::file_size(cutOff) / 2);
    EXPECT_THROW(readSoundFile(cutOff), std::runtime_error);
}

}  // namespace
}  // namespace sound::service
