// audvik-capture as a real process. The library's address is fixed, so these tests cannot run at
// the same time as others that use it.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "LocalSocket.h"
#include "Program.h"

namespace {

std::vector<std::string> const kTone{
    AUDVIK_SOUND_SERVICE, "--tone", "440", "--channels", "1", "--block", "1000"};

class Capture : public testing::Test {
protected:
    Capture() {
        unsetenv("LMQR2_UDPHOST");
        unsetenv("AUDVIK_SERVICE");
        setenv("XDG_RUNTIME_DIR", folder_.file("").c_str(), 1);
    }

    void startService() {
        service_.emplace(kTone);
        ASSERT_TRUE(service_->says("listening on")) << service_->errors();
    }

    static std::vector<std::string> words(std::vector<std::string> const& options) {
        std::vector<std::string> all{AUDVIK_CAPTURE, "--channels", "1"};
        all.insert(all.end(), options.begin(), options.end());
        return all;
    }

    TemporaryFolder folder_;
    std::optional<Program> service_;
};

TEST_F(Capture, RecordsExactlyTheDuration) {
    startService();
    Program capture(words({"--duration", "0.25"}));
    EXPECT_EQ(capture.status(), 0) << capture.errors();
    EXPECT_NE(capture.errors().find("24 blocks, 24000 bytes, 0.250 s, 0 lost\n"), std::string::npos)
        << capture.errors();
    EXPECT_EQ(capture.output().size(), 24000U);
    EXPECT_LT(capture.output().find_first_not_of('\0'), 24000U);
}

TEST_F(Capture, AnAuStreamSaysItsFormat) {
    startService();
    Program au(words({"--duration", "0.25", "--format", "au"}));
    Program raw(words({"--duration", "0.25", "--output", folder_.file("raw"), "--format", "raw"}));
    EXPECT_EQ(au.status(), 0) << au.errors();
    EXPECT_EQ(raw.status(), 0) << raw.errors();
    std::string samples = readFile(folder_.file("raw"));
    EXPECT_EQ(samples.size(), 24000U);
    for (std::size_t i = 1; i < samples.size(); i += 2) std::swap(samples[i - 1], samples[i]);
    std::string const header(".snd\0\0\0\x18\xFF\xFF\xFF\xFF\0\0\0\3\0\0\xBB\x80\0\0\0\1", 24);
    EXPECT_TRUE(au.output() == header + samples);
}

TEST_F(Capture, EndsWhenNothingComesAnyMore) {
    service_.emplace(std::vector<std::string>{AUDVIK_SOUND_SERVICE, "--tone", "440", "--channels",
                                              "1", "--duration", "0.5"});
    ASSERT_TRUE(service_->says("listening on")) << service_->errors();
    Program capture(words({"--idle", "300ms"}));
    EXPECT_EQ(capture.status(), 0);
    EXPECT_EQ(capture.output().size(), 48000U) << capture.errors();
    EXPECT_NE(capture.errors().find("nothing has come for 0.3 s"), std::string::npos)
        << capture.errors();
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
std::string samplesOf(std::string const& path) {
    constexpr std::size_t kHeaderSize = 44;
    std::string const wav = readFile(path);
    EXPECT_GE(wav.size(), kHeaderSize);
    if (wav.size() < kHeaderSize) return "";
    EXPECT_EQ(wav.substr(0, 4) + wav.substr(8, 8), "RIFFWAVEfmt ");
    EXPECT_EQ(littleEndian(wav, 4), wav.size() - 8);
    EXPECT_EQ(littleEndian(wav, 24), 48000U);
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(littleEndian(wav, 40), wav.size() - kHeaderSize);
    return wav.substr(kHeaderSize);
}

TEST_F(WavCapture, HoldsTheSamplesThatStandardOutputHas) {
    startService();
    Program file(words({"--duration", "0.25", "--output", folder_.file("tone.wav")}));
    Program raw(words({"--duration", "0.25"}));
    EXPECT_EQ(file.status(), 0) << file.errors();
    EXPECT_EQ(raw.status(), 0) << raw.errors();
    EXPECT_TRUE(samplesOf(folder_.file("tone.wav")) == raw.output());
}

TEST_F(WavCapture, HasTheFormatThatTheServicePlays) {
    service_.emplace(std::vector<std::string>{AUDVIK_SOUND_SERVICE, "--tone", "440", "--rate",
                                              "22050", "--channels", "1"});
    ASSERT_TRUE(service_->says("listening on")) << service_->errors();
    for (std::vector<std::string> const& told : {std::vector<std::string>{}, {"--rate", "44100"}}) {
        std::vector<std::string> command{AUDVIK_CAPTURE, "--duration", "0.5", "--output",
                                         folder_.file("tone.wav")};
        command.insert(command.end(), told.begin(), told.end());
        Program capture(command);
        EXPECT_EQ(capture.status(), 0) << capture.errors();
        std::string const wav = readFile(folder_.file("tone.wav"));
        EXPECT_EQ(wav.size(), 44U + 22050);
        EXPECT_EQ(wav.at(22), 1);
        EXPECT_EQ(littleEndian(wav, 24), 22050U);
        auto const said = capture.errors().find(
            "the sound service plays 22050 Hz, 1 channel, not 44100 Hz, 2 channels;");
        EXPECT_EQ(said != std::string::npos, !told.empty()) << capture.errors();
    }
}

TEST_F(Capture, SaysWhenThePaceContradictsTheFormat) {
    startService();
    for (auto const& entry : std::filesystem::recursive_directory_iterator(folder_.file(""))) {
        if (entry.path().filename() == "format") std::filesystem::remove(entry.path());
    }
    Program right(words({"--duration", "2.5"}));
    Program wrong({AUDVIK_CAPTURE, "--rate", "44100", "--duration", "1.5"});
    EXPECT_EQ(wrong.status(), 0);
    EXPECT_NE(
        wrong.errors().find("taken for 44100 Hz, 2 channels, but the pace is that of 48000 Hz, "
                            "1 channel, or 24000 Hz, 2 channels"),
        std::string::npos)
        << wrong.errors();
    EXPECT_EQ(right.status(), 0);
    EXPECT_EQ(right.errors().find("pace"), std::string::npos) << right.errors();
}

TEST_F(WavCapture, LeavesAValidFileEvenWhenItIsKilled) {
    startService();
    Program capture(words({"--output", folder_.file("tone.wav")}));
    ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "0.5"}).status() == 0);
    capture.signal(SIGKILL);
    EXPECT_EQ(capture.status(), -1);
    std::string const wav = readFile(folder_.file("tone.wav"));
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_GT(littleEndian(wav, 40), 24000U);
    EXPECT_LE(littleEndian(wav, 40), wav.size() - 44);
}

TEST_F(WavCapture, LeavesAValidFileWhoeverIsStopped) {
    for (bool const serviceDies : {false, true}) {
        startService();
        Program capture(words({"--output", folder_.file("tone.wav")}));
        ASSERT_TRUE(Program({AUDVIK_CAPTURE, "--duration", "0.5"}).status() == 0);
        serviceDies ? service_->signal(SIGKILL) : capture.signal(SIGINT);
        EXPECT_EQ(capture.status(), serviceDies ? 1 : 0);
        auto const* const line =
            serviceDies ? "the sound service at 127.0.0.1:12321 has gone" : " 0 lost\n";
        EXPECT_NE(capture.errors().find(line), std::string::npos) << capture.errors();
        EXPECT_GT(samplesOf(folder_.file("tone.wav")).size(), 24000U);
        service_.reset();
    }
}

TEST_F(WavCapture, SaysWhenTheFileCannotBeWritten) {
    startService();
    Program full(words({"--output", "/dev/full"}));
    EXPECT_EQ(full.status(), 1);
    EXPECT_NE(full.errors().find("/dev/full"), std::string::npos) << full.errors();
    Program nowhere(words({"--output", folder_.file("no/such/folder.wav")}));
    EXPECT_EQ(nowhere.status(), 1);
    EXPECT_NE(nowhere.errors().find("No such file"), std::string::npos) << nowhere.errors();
}

TEST_F(Capture, SaysWhenStandardOutputIsFull) {
    startService();
    Program capture(words({}), "/dev/full");
    EXPECT_EQ(capture.status(), 1);
    EXPECT_NE(capture.errors().find("No space left on device"), std::string::npos)
        << capture.errors();
}

TEST_F(Capture, FailsWithoutAServiceAndLeavesAnEarlierRecordingAlone) {
    writeFile(folder_.file("earlier.wav"), "earlier");
    Program capture(words({"--output", folder_.file("earlier.wav")}));
    EXPECT_EQ(capture.status(), 1);
    EXPECT_NE(capture.errors().find("no sound service at 127.0.0.1:12321"), std::string::npos)
        << capture.errors();
    EXPECT_EQ(readFile(folder_.file("earlier.wav")), "earlier");
}

TEST_F(Capture, WaitsForTheServiceAndForItsReturn) {
    Program capture(words({"--wait", "--duration", "2"}));
    EXPECT_TRUE(capture.says("waiting for a sound service")) << capture.errors();
    startService();
    Program witness({AUDVIK_CAPTURE, "--duration", "1.5"});
    ASSERT_EQ(witness.status(), 0) << witness.errors();
    service_->signal(SIGKILL);
    EXPECT_TRUE(capture.says("has gone")) << capture.errors();
    service_.reset();
    startService();
    EXPECT_EQ(capture.status(), 0) << capture.errors();
    EXPECT_NE(capture.errors().find("is back"), std::string::npos) << capture.errors();
    EXPECT_EQ(capture.output().size(), 192000U);
}

TEST_F(Capture, RecordsFromTheServiceThatIsChosen) {
    startService();
    std::string const address = LocalSocket().address();
    Program other({AUDVIK_SOUND_SERVICE, "--service", address, "--tone", "880"});
    ASSERT_TRUE(other.says("listening on " + address)) << other.errors();
    Program stereo({AUDVIK_CAPTURE, "--service", address, "--duration", "0.25"});
    Program mono(words({"--duration", "0.25"}));
    EXPECT_EQ(stereo.status(), 0) << stereo.errors();
    EXPECT_EQ(mono.status(), 0) << mono.errors();
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
