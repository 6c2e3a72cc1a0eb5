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
#include "wav.h"

namespace {

constexpr std::size_t kHeaderSize = 44;  // of a WAV file

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

TEST_F(Capture, EndsWhenNothingComesFromTheServiceThatIsChosen) {
    auto const address = LocalSocket().address();
    startService({"--duration", "0.5", "--service", address});
    Program capture(words({"--idle", "300ms", "--service", address}));
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
    EXPECT_TRUE(!AUDVIK_WRITES_WAV || readFile(folder_.file("tone.wav")) == wav(48000, 1, samples));
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
        auto const file = readFile(folder_.file("tone.wav"));
        EXPECT_EQ(file.size(), kHeaderSize + 22050);
        EXPECT_TRUE(file == wav(22050, 1, file.substr(kHeaderSize)));
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
    struct {
        int signal;  // to the program; 0 when it is the service that dies
        int status;
        char const* text;
    } const kEndings[] = {{0, 1, "the sound service at 127.0.0.1:12321 has gone"},
                          {SIGINT, 0, " 0 lost\n"},
                          {SIGKILL, -1, ""}};
    for (auto const& [signal, status, text] : kEndings) {
        startService();
        Program capture(words({"--output", folder_.file("tone.wav")}));
        ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "0.5"}).ends(0));
        signal == 0 ? service_->signal(SIGKILL) : capture.signal(signal);
        EXPECT_TRUE(capture.ends(status, text)) << signal;
        auto const written = readFile(folder_.file("tone.wav"));
        std::size_t size = 0;  // which what was killed may say too low, but never too high
        for (std::size_t i = 4; i-- > 0;)
            size = size << 8 | static_cast<unsigned char>(written.at(40 + i));
        EXPECT_TRUE(written.starts_with(wav(48000, 1, written.substr(kHeaderSize, size))));
        EXPECT_GT(size, 24000U);
        EXPECT_TRUE(signal == SIGKILL || size == written.size() - kHeaderSize);
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
    Program capture(words({"--wait", "--duration", "4"}));
    EXPECT_TRUE(capture.says("waiting for a sound service")) << capture.errors();
    startService();
    ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "1.5"}).ends(0));
    service_.reset();
    EXPECT_TRUE(capture.says("has gone")) << capture.errors();
    startService();
    EXPECT_TRUE(capture.ends(0, "is back"));
    EXPECT_EQ(capture.output().size(), 384000U);
}

TEST_F(Capture, RefusesAWrongCommandLineWithStatusTwo) {
    for (auto const* const options :
         {"--duration 0", "--duration -1", "--duration nan", "--rate 0", "--channels x",
          "--unknown", "--idle 0", "--format wav --output -", "--service localhost:12321",
          "--service 127.0.0.1:0"}) {
        EXPECT_TRUE(Program(words(wordsOf(options))).ends(2)) << options;
    }
}

}  // namespace
