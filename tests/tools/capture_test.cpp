// audvik-capture as a real process. The library's address is fixed, so these tests cannot run at
// the same time as others that use it.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "LocalSocket.h"
#include "Program.h"

namespace {

class Capture : public testing::Test {
protected:
    Capture() {
        unsetenv("LMQR2_UDPHOST");
        unsetenv("AUDVIK_SERVICE");
        setenv("XDG_RUNTIME_DIR", folder_.file("").c_str(), 1);
    }

    void startService(std::vector<std::string> const& options = {"--block", "1000"}) {
        service_ = startSoundService(joined({"--tone", "440", "--channels", "1"}, options));
    }

    static std::vector<std::string> words(std::vector<std::string> const& options) {
        return joined({AUDVIK_CAPTURE, "--channels", "1"}, options);
    }

    TemporaryFolder folder_;
    std::unique_ptr<Program> service_;
};

TEST_F(Capture, EndsWhenNothingComesAnyMore) {
    startService({"--duration", "0.5"});
    Program capture(words({"--idle", "300ms"}));
    EXPECT_TRUE(capture.ends(0, "nothing has come for 0.3 s"));
    EXPECT_EQ(capture.output().size(), 48000U);
}

/// Where libsndfile is missing, as for most emulated machines, there are no WAV files.
class WavCapture : public Capture {
protected:
    void SetUp() override {
        if (!AUDVIK_WRITES_WAV) GTEST_SKIP() << "audvik-capture was built without libsndfile";
    }
};

std::uint32_t littleEndian(std::string const& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) {
        value = value << 8 | static_cast<unsigned char>(bytes.at(offset + i));
    }
    return value;
}

/// The samples' bytes in a WAV file. Its header has to be right.
std::string samplesOf(std::string const& path, std::uint32_t rate = 48000) {
    constexpr std::size_t kHeaderSize = 44;
    std::string const wav = readFile(path);
    EXPECT_GE(wav.size(), kHeaderSize);
    if (wav.size() < kHeaderSize) return "";
    EXPECT_EQ(wav.substr(0, 4) + wav.substr(8, 8), "RIFFWAVEfmt ");
    EXPECT_EQ(littleEndian(wav, 4), wav.size() - 8);
    EXPECT_EQ(wav.at(22), 1);
    EXPECT_EQ(littleEndian(wav, 24), rate);
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(littleEndian(wav, 40), wav.size() - kHeaderSize);
    return wav.substr(kHeaderSize);
}

TEST_F(Capture, RecordsExactlyTheDurationInEachFormat) {
    startService();
    auto const options = [](std::vector<std::string> const& more) {
        return words(joined({"--duration", "0.25"}, more));
    };
    Program standard(options({}));
    Program au(options({"--format", "au"}));
    Program raw(options({"--output", folder_.file("raw"), "--format", "raw"}));
    if (AUDVIK_WRITES_WAV) {
        EXPECT_TRUE(Program(options({"--output", folder_.file("tone.wav")})).ends(0));
    }
    EXPECT_TRUE(standard.ends(0, "24 blocks, 24000 bytes, 0.250 s, 0 lost\n"));
    EXPECT_TRUE(au.ends(0) && raw.ends(0));
    std::string samples = standard.output();
    EXPECT_EQ(samples.size(), 24000U);
    EXPECT_LT(samples.find_first_not_of('\0'), 24000U);
    EXPECT_TRUE(readFile(folder_.file("raw")) == samples);
    EXPECT_TRUE(!AUDVIK_WRITES_WAV || samplesOf(folder_.file("tone.wav")) == samples);
    for (std::size_t i = 1; i < samples.size(); i += 2) std::swap(samples[i - 1], samples[i]);
    std::string const header(".snd\0\0\0\x18\xFF\xFF\xFF\xFF\0\0\0\3\0\0\xBB\x80\0\0\0\1", 24);
    EXPECT_TRUE(au.output() == header + samples);
}

TEST_F(WavCapture, HasTheFormatThatTheServicePlays) {
    startService({"--rate", "22050"});
    for (std::vector<std::string> const& told : {std::vector<std::string>{}, {"--rate", "44100"}}) {
        Program capture(joined(
            {AUDVIK_CAPTURE, "--duration", "0.5", "--output", folder_.file("tone.wav")}, told));
        EXPECT_TRUE(capture.ends(0));
        EXPECT_EQ(samplesOf(folder_.file("tone.wav"), 22050).size(), 22050U);
        EXPECT_EQ(!told.empty(),
                  has(capture.errors(),
                      "the sound service plays 22050 Hz, 1 channel, not 44100 Hz, 2 channels;"))
            << capture.errors();
    }
}

TEST_F(Capture, SaysWhenThePaceContradictsTheFormat) {
    startService();
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder_.file(""))) {
        if (entry.path().filename() == "format") std::filesystem::remove(entry.path());
    }
    Program right(words({"--duration", "2.5"}));
    Program wrong({AUDVIK_CAPTURE, "--rate", "44100", "--duration", "1.5"});
    EXPECT_TRUE(wrong.ends(0,
                           "taken for 44100 Hz, 2 channels, but the pace is that of 48000 Hz, "
                           "1 channel, or 24000 Hz, 2 channels"));
    EXPECT_TRUE(right.ends(0));
    EXPECT_FALSE(has(right.errors(), "pace")) << right.errors();
}

TEST_F(WavCapture, LeavesAValidFileWhoeverIsStopped) {
    auto const file = folder_.file("tone.wav");
    for (auto const* const stopped : {"service killed", "capture interrupted", "capture killed"}) {
        SCOPED_TRACE(stopped);
        bool const isKilled = stopped == std::string("capture killed");
        bool const serviceDies = stopped == std::string("service killed");
        startService();
        Program capture(words({"--output", file}));
        ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "0.5"}).ends(0));
        if (serviceDies) {
            service_->signal(SIGKILL);
            EXPECT_TRUE(capture.ends(1, "the sound service at 127.0.0.1:12321 has gone"));
        } else {
            capture.signal(isKilled ? SIGKILL : SIGINT);
            EXPECT_TRUE(isKilled ? capture.ends(-1) : capture.ends(0, " 0 lost\n"));
        }
        // The header of what is killed may be behind, but never ahead.
        auto const size = isKilled ? littleEndian(readFile(file), 40) : samplesOf(file).size();
        EXPECT_GT(size, 24000U);
        EXPECT_LE(size, readFile(file).size() - 44);
        service_.reset();
    }
}

TEST_F(Capture, SaysWhenThereIsNowhereToWrite) {
    startService();
    EXPECT_TRUE(Program(words({}), "/dev/full").ends(1, "No space left on device"));
    if (!AUDVIK_WRITES_WAV) return;
    EXPECT_TRUE(Program(words({"--output", "/dev/full"})).ends(1, "/dev/full"));
    EXPECT_TRUE(
        Program(words({"--output", folder_.file("no/folder.wav")})).ends(1, "No such file"));
}

TEST_F(Capture, FailsWithoutAServiceAndLeavesAnEarlierRecordingAlone) {
    writeFile(folder_.file("earlier.wav"), "earlier");
    Program capture(words({"--output", folder_.file("earlier.wav")}));
    EXPECT_TRUE(capture.ends(1, "no sound service at 127.0.0.1:12321"));
    EXPECT_EQ(readFile(folder_.file("earlier.wav")), "earlier");
}

TEST_F(Capture, WaitsForTheServiceAndForItsReturn) {
    Program capture(words({"--wait", "--duration", "2"}));
    EXPECT_TRUE(capture.says("waiting for a sound service")) << capture.errors();
    startService();
    ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "1.5"}).ends(0));
    service_->signal(SIGKILL);
    EXPECT_TRUE(capture.says("has gone")) << capture.errors();
    service_.reset();
    startService();
    EXPECT_TRUE(capture.ends(0, "is back"));
    EXPECT_EQ(capture.output().size(), 192000U);
}

TEST_F(Capture, RecordsFromTheServiceThatIsChosen) {
    startService();
    std::string const address = LocalSocket().address();
    auto const other = startSoundService({"--service", address, "--tone", "880"});
    Program stereo({AUDVIK_CAPTURE, "--service", address, "--duration", "0.25"});
    Program mono(words({"--duration", "0.25"}));
    EXPECT_TRUE(stereo.ends(0) && mono.ends(0));
    std::string const octaveHigher = stereo.output();
    std::string const tone = mono.output();
    ASSERT_EQ(octaveHigher.size(), 48000U);
    for (std::size_t at = 0; at < tone.size(); at += 4) {
        ASSERT_EQ(octaveHigher.substr(at, 2), tone.substr(at, 2)) << at;
    }
}

TEST_F(Capture, RefusesAWrongCommandLineWithStatusTwo) {
    for (std::vector<std::string> const& options : {std::vector<std::string>{"--duration", "0"},
                                                    {"--duration", "-1"},
                                                    {"--rate", "0"},
                                                    {"--channels", "x"},
                                                    {"--unknown"},
                                                    {"--idle", "0"},
                                                    {"--format", "wav", "--output", "-"},
                                                    {"--service", "localhost:12321"},
                                                    {"--service", "127.0.0.1:0"},
                                                    {"--duration", "nan"}}) {
        EXPECT_EQ(Program(words(options)).status(), 2) << options.front();
    }
}

}  // namespace
