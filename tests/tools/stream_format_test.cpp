#include "stream_format.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "TemporaryFolder.h"

namespace {

using namespace std::chrono_literals;
using tools::StreamFormat;

TEST(StreamFormat, IsReadBesideThePipeAndNothingElseIs) {
    TemporaryFolder const folder;
    std::string const pipe = folder.file("17");
    EXPECT_FALSE(tools::readStreamFormat(pipe));
    tools::writeStreamFormat(folder.file(""), {22050, 1});
    EXPECT_EQ(tools::readStreamFormat(pipe), (StreamFormat{22050, 1}));
    for (std::string const text :
         {"", "x", "[]", R"({"rate": 0, "channels": 2})", R"({"rate": 48000})",
          R"({"rate": 4294967297, "channels": 2})", R"({"rate": "48000", "channels": 2})",
          R"({"rate": 48000, "channels": -1})", R"({"rate": 48000, "channels": 33})"}) {
        std::ofstream(folder.file("format")) << text;
        EXPECT_FALSE(tools::readStreamFormat(pipe)) << text;
    }
    std::filesystem::remove(folder.file("format"));
    ASSERT_EQ(mkfifo(folder.file("format").c_str(), 0600), 0);
    EXPECT_FALSE(tools::readStreamFormat(pipe));
    std::filesystem::remove(folder.file("format"));
    std::filesystem::create_symlink("/dev/zero", folder.file("format"));
    EXPECT_FALSE(tools::readStreamFormat(pipe));
}

/// What the pace of blocks first tells about being taken for a format.
std::optional<std::string> verdict(StreamFormat const& taken, StreamFormat const& played,
                                   std::size_t block, tools::PaceCheck::Clock::duration length,
                                   tools::PaceCheck::Clock::duration pause = {}) {
    tools::PaceCheck pace;
    tools::PaceCheck::Clock::time_point const start{1h};
    for (double seconds = 0; start + std::chrono::duration<double>(seconds) < start + length;
         seconds += static_cast<double>(block) / played.bytesPerSecond()) {
        auto const time = start + std::chrono::round<std::chrono::nanoseconds>(
                                      std::chrono::duration<double>(seconds));
        pace.add(block, time + (seconds > 1 ? pause : 0s));
        if (auto const what = pace.contradiction(taken)) return what;
    }
    return std::nullopt;
}

TEST(PaceCheck, TellsAWrongFormatFromARightOne) {
    EXPECT_EQ(verdict({48000, 2}, {48000, 2}, 4096, 2500ms), std::nullopt);
    EXPECT_EQ(verdict({48000, 2}, {22050, 1}, 4096, 1900ms), std::nullopt);
    EXPECT_EQ(verdict({48000, 2}, {47000, 2}, 4096, 2500ms), std::nullopt);
    EXPECT_EQ(verdict({48000, 2}, {22050, 1}, 4096, 2500ms),
              "the pace is that of 22050 Hz, 1 channel, or 11025 Hz, 2 channels");
    EXPECT_EQ(verdict({48000, 2}, {44100, 2}, 4096, 2500ms),
              "the pace is that of 88200 Hz, 1 channel, or 44100 Hz, 2 channels");
    EXPECT_EQ(verdict({44100, 2}, {48000, 2}, 4096, 2500ms),
              "the pace is that of 96000 Hz, 1 channel, or 48000 Hz, 2 channels");
    // A second for a block.
    EXPECT_EQ(verdict({8000, 1}, {8000, 1}, 16000, 5s), std::nullopt);
    // Something was held up for a while; the service was away.
    EXPECT_EQ(verdict({48000, 2}, {48000, 2}, 4096, 5s, 100ms), std::nullopt);
    EXPECT_EQ(verdict({48000, 2}, {48000, 2}, 4096, 5s, 1600ms), std::nullopt);
}

}  // namespace
