#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "desktop/framework.h"
#include "frame/Process.h"
#include "LocalSocket.h"
#include "Program.h"
#include "sound/ClientInterfaceListener.h"
#include "sound/Proxy.h"

namespace {

using namespace std::chrono_literals;

/// A client in this process: takes each block whole, as a listener should.
class Listener : public sound::ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onAudioDataNotify(frame::MsgIds& /*msgIds*/,
                                   frame::TransportInfo const& /*transportInfo*/,
                                   std::string const& path, std::uint32_t size) override {
        std::vector<char> block(size);
        int const descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0) ++missing;
        auto const count = ::read(descriptor, block.data(), block.size());
        ::close(descriptor);
        if (count <= 0) return 0;

        std::scoped_lock const lock(mutex_);
        // A block whose service was killed may be gone, but not in part.
        EXPECT_EQ(count, static_cast<ssize_t>(size));
        received_.insert(received_.end(), block.begin(), block.end());
        pipes_.insert(path);
        changed_.notify_all();
        return 0;
    }

    std::atomic<int> missing = 0;  ///< announced, but not there

    /// @return what has been received when it is @p size bytes, or when 20 seconds have passed
    std::vector<char> await(std::size_t size) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, 20s, [&] { return received_.size() >= size; });
        return received_;
    }

    /// In which pipes blocks have been.
    std::set<std::string> pipes() {
        std::scoped_lock const lock(mutex_);
        return pipes_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<char> received_;
    std::set<std::string> pipes_;
};

class ServiceTest : public ::testing::Test {
protected:
    ServiceTest() { useOwnAddress(); }
    // The next one has another address. The service is killed afterwards: it may have announced
    // a block that the client is about to open.
    ~ServiceTest() override { desktop::stopAppMembers(); }

    void startService(std::vector<std::string> const& options) {
        service_.reset();
        service_ = startSoundService(options);
    }

    void startClient() {
        auto process = frame::Process::getInstance();
        ASSERT_GE(process.startAppMembersSync(&CreateSoundProxy), 0);
        listener_->setSelfReference(listener_);
        ASSERT_GE(listener_->init(), 0);
    }

    /// @return where the service's pipes will lie
    static std::string useRuntimeFolder(TemporaryFolder const& runtime) {
        auto const folder = runtime.file("sound-service-" + std::to_string(::geteuid()) + '-' +
                                         std::getenv("LMQR2_UDPHOST"));
        ::setenv("XDG_RUNTIME_DIR", std::filesystem::path(folder).parent_path().c_str(), 1);
        return folder;
    }

    void switchAudioData(bool on) {
        ASSERT_GE(listener_->getSrvIf()->cmdEnabelSoundAudioDataCB(frame::MsgIds::none, {}, on), 0);
    }

    boost::shared_ptr<Listener> listener_ = boost::make_shared<Listener>();
    std::unique_ptr<Program> service_;
};

TEST_F(ServiceTest, NoPipeHasTheNameOfAnEarlierServices) {
    constexpr std::size_t kBlock = 3840;
    std::vector<std::string> const words{"--tone", "440", "--duration", "0.02"};
    startService(words);
    startClient();
    switchAudioData(true);
    for (std::size_t services = 1; services <= 3; ++services) {
        EXPECT_EQ(listener_->await(services * kBlock).size(), services * kBlock);
        EXPECT_EQ(listener_->pipes().size(), services);
        service_->signal(SIGTERM);
        service_->status();
        startService(words);
    }
}

TEST_F(ServiceTest, PipesAreForThisUserOnlyHangNoClientAndGoWithTheService) {
    std::vector<std::string> const words{"--tone", "440", "--fast"};
    startService(words);
    startClient();
    switchAudioData(true);
    auto enough = listener_->await(1).size();
    std::filesystem::path const pipe(*listener_->pipes().begin());
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_EQ(std::filesystem::status(pipe).permissions(), std::filesystem::perms(0600));
    EXPECT_EQ(std::filesystem::status(pipe.parent_path()).permissions(),
              std::filesystem::perms(0700));
    for (int kills = 0; kills < 10; ++kills) {
        enough = listener_->await(enough + 100'000).size();
        service_->signal(SIGKILL);
        service_->status();
        startService(words);
    }
    EXPECT_GE(listener_->await(enough + 100'000).size(), enough + 100'000)
        << "without being asked for again";
    service_->signal(SIGTERM);
    EXPECT_EQ(service_->status(), 0);
    EXPECT_FALSE(std::filesystem::exists(pipe.parent_path()));
}

// A tone of 1 Hz differs everywhere within its period of 96,000 bytes, which blocks of 1,001 bytes
// cross in ever new places: a block lost, doubled or out of place shows.
TEST_F(ServiceTest, AStreamIsWholeWhateverBecomesOfAnother) {
    startService(
        {"--tone", "1", "--channels", "1", "--duration", "25", "--fast", "--block", "1001"});
    Program const stuck({STUCK_CLIENT});
    ASSERT_TRUE(stuck.says("."));
    startClient();
    switchAudioData(true);
    listener_->await(100'000);
    stuck.signal(SIGKILL);
    constexpr std::size_t kPeriod = 96'000;
    auto const received = listener_->await(25 * kPeriod);
    ASSERT_EQ(received.size(), 25 * kPeriod);
    EXPECT_TRUE(std::equal(received.begin() + kPeriod, received.end(), received.begin()));
}

TEST_F(ServiceTest, AStreamBeginsAnewOnlyAfterItWasSwitchedOff) {
    // One second, in real time.
    startService({"--tone", "1", "--rate", "8000", "--channels", "1", "--duration", "1"});
    startClient();
    constexpr std::size_t kWhole = 16'000;
    auto const started = std::chrono::steady_clock::now();
    switchAudioData(true);
    listener_->await(4096);
    switchAudioData(true);
    EXPECT_EQ(listener_->await(kWhole).size(), kWhole);
    // The last block begins at 12,288 of 16,000 bytes.
    EXPECT_GE(std::chrono::steady_clock::now() - started, 760ms);
    switchAudioData(true);
    switchAudioData(false);
    switchAudioData(true);
    auto const received = listener_->await(2 * kWhole);
    ASSERT_EQ(received.size(), 2 * kWhole);
    EXPECT_TRUE(std::equal(received.begin() + kWhole, received.end(), received.begin()));
}

TEST_F(ServiceTest, AnAnnouncedBlockIsThereHoweverOftenItIsSwitched) {
    rlimit limit;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max / 2;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    startService({"--tone", "440", "--fast"});
    ASSERT_EQ(::prlimit(service_->process(), RLIMIT_NOFILE, nullptr, &limit), 0);
    EXPECT_EQ(limit.rlim_cur, limit.rlim_max) << "each block that waits needs a descriptor";
    startClient();
    std::size_t enough = 0;
    for (int times = 0; times < 100; ++times) {
        switchAudioData(true);
        enough = listener_->await(enough + 1).size();
        switchAudioData(false);
    }
    EXPECT_EQ(listener_->missing, 0);
    auto const descriptors = "/proc/" + std::to_string(service_->process()) + "/fd";
    auto const count = [&] {
        std::filesystem::directory_iterator const each(descriptors);
        return std::distance(begin(each), end(each));
    };
    for (int tries = 0; count() > 40 && tries < 1000; ++tries) std::this_thread::sleep_for(10ms);
    EXPECT_LE(count(), 40) << "a stream of at most 16 pipes, and what a service needs";
}

TEST_F(ServiceTest, AStreamGoesOnWhenPipesCanBeMadeAgain) {
    TemporaryFolder const runtime;
    auto const folder = useRuntimeFolder(runtime);
    startService({"--tone", "1", "--rate", "8000", "--channels", "1", "--duration", "1", "--fast"});
    startClient();
    std::filesystem::rename(folder, folder + ".away");
    switchAudioData(true);
    EXPECT_TRUE(service_->says("No such file or directory; it is tried again"));
    std::this_thread::sleep_for(300ms);  // more than once
    std::filesystem::rename(folder + ".away", folder);
    EXPECT_EQ(listener_->await(16'000).size(), 16'000U);
    auto const log = service_->errors();
    EXPECT_EQ(log.find("tried again"), log.rfind("tried again")) << log;
}

/// How often a process has waited for something, all its threads together.
long waitsOf(pid_t process) {
    auto const threads = "/proc/" + std::to_string(process) + "/task";
    long waits = 0;
    for (auto const& thread : std::filesystem::directory_iterator(threads)) {
        auto const status = readFile(thread.path() / "status");
        std::string const name = "\nvoluntary_ctxt_switches:";
        waits += std::stol(status.substr(status.find(name) + name.size()));
    }
    return waits;
}

/// In seconds.
double processorTimeOf(pid_t process) {
    clockid_t clock{};
    timespec time{};
    EXPECT_EQ(::clock_getcpuclockid(process, &clock), 0);
    ::clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

TEST_F(ServiceTest, SleepsWhileNobodyTakesItsBlocks) {
    startService({"--tone", "440", "--fast"});
    Program const stuck({STUCK_CLIENT});
    ASSERT_TRUE(stuck.says("................")) << "all pipes are in use";
    for (bool const alive : {true, false}) {
        if (!alive) stuck.signal(SIGKILL);
        auto const before = waitsOf(service_->process());
        auto const timeBefore = processorTimeOf(service_->process());
        std::this_thread::sleep_for(500ms);
        EXPECT_LT(waitsOf(service_->process()) - before, 50) << alive;
        EXPECT_LT(processorTimeOf(service_->process()) - timeBefore, 0.1) << alive;
    }
}

/// It refuses to start, and says no more than one line.
void expectRefusal(std::vector<std::string> words, std::vector<std::string> const& complaints) {
    words.insert(words.begin(), AUDVIK_SOUND_SERVICE);
    Program service(words);
    EXPECT_EQ(service.status(), 1);
    auto const text = service.errors();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    if (text.find("built without libsndfile") != std::string::npos) return;
    for (auto const& complaint : complaints) {
        EXPECT_NE(("\n" + text).find(complaint), std::string::npos) << text << complaint;
    }
}

TEST_F(ServiceTest, OptionsHaveBoundsAndSomeNeedOthers) {
    using Words = std::vector<std::string>;
    auto const tone = [](Words words) {
        words.insert(words.begin(), {"--tone", "1"});
        return words;
    };
    for (auto words : {Words{"--tone", "0"},
                       {"--tone", "24001"},
                       {"--tone", "96001", "--rate", "192000"},
                       tone({"--rate", "1"}),
                       tone({"--rate", "192001"}),
                       tone({"--channels", "0"}),
                       tone({"--channels", "9"}),
                       tone({"--duration", "0"}),
                       tone({"--duration", "86401"}),
                       tone({"--block", "0"}),
                       tone({"--block", "16385"}),
                       tone({"--speed", "1"}),
                       tone({"--loop"}),
                       tone({"file.wav"}),
                       Words{"--rate", "8000"},
                       {"--channels", "1"},
                       {"--duration", "1"}}) {
        words.insert(words.begin(), AUDVIK_SOUND_SERVICE);
        EXPECT_EQ(Program(words).status(), 2) << testing::PrintToString(words);
    }
    for (auto const& words :
         {tone({"--rate", "2", "--channels", "8", "--duration", "0.5", "--block", "1"}),
          {"--tone", "96000", "--rate", "192000", "--duration", "86400", "--block", "16384"}}) {
        startService(words);
        EXPECT_TRUE(service_->says("playing a tone of"));
    }
    startService({});
    EXPECT_TRUE(service_->says("playing nothing"));
}

TEST_F(ServiceTest, AFolderThatIsNotThisUsersAloneIsRefused) {
    TemporaryFolder const runtime;
    auto const folder = useRuntimeFolder(runtime);
    ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0);
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    expectRefusal({}, {folder, "not this user's alone"});
    std::filesystem::remove(folder);
    std::filesystem::create_directory_symlink("/tmp", folder);
    expectRefusal({}, {folder, "cannot use the folder"});
}

TEST_F(ServiceTest, ATakenPortIsNamed) {
    LocalSocket const taken;
    ::setenv("LMQR2_UDPHOST", taken.address().c_str(), 1);
    expectRefusal({}, {"\nsound-service: " + taken.address() +
                       " is in use by another program; stop it, or choose another with "
                       "--service\n"});
}

TEST_F(ServiceTest, AFileThatCannotBePlayedIsRefused) {
    std::string const header("RIFF\x2C\0\0\0WAVEfmt \x10\0\0\0\1\0\1\0\x40\x1F\0\0\x80\x3E\0\0",
                             32);
    std::string const format16("\2\0\x10\0data\x08\1\2\3", 12);
    auto const withChunk =
        header.substr(0, 12) + std::string("odd \3\0\0\0abc\0", 12) + header.substr(12);
    std::string const noData("\2\0\x10\0data\0\0\0\0", 12);
    TemporaryFolder const folder;
    struct {
        std::string path;
        char const* complaint;
        std::string content;
    } const files[] = {
        {folder.file("empty.wav"), "empty", ""},
        {folder.file("text.wav"), "", "This is no sound."},
        {folder.file("no-samples.wav"), "no samples", header + noData},
        {folder.file("short.wav"), "announces 50463028 bytes", header + format16 + "0123"},
        {folder.file("chunk.wav"), "announces 50463040 bytes", withChunk + format16 + "0123"},
        {folder.file("header.wav"), "", header},
        {folder.file("nowhere/missing.wav"), "No such file", ""},
        {"/tmp", "not a regular file", ""}};
    for (auto const& [path, complaint, content] : files) {
        writeFile(path, content);
        expectRefusal({path}, {"\nsound-service: " + path + ": ", complaint,
                               "accepted is what libsndfile reads"});
    }
}

}  // namespace
