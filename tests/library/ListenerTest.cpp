// How the agent reads an announced block from its pipe.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <numeric>
#include <thread>

#include "AgentFixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<unsigned> pauses;  // in microseconds
std::function<void()> duringPause;

}  // namespace

// In place of the C library's: the library's pause becomes a step of the test.
extern "C" int usleep(useconds_t microseconds) {
    pauses.push_back(microseconds);
    if (duringPause) duringPause();
    return 0;
}

namespace {

std::vector<unsigned char> samples(std::size_t size) {
    std::vector<unsigned char> bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(1));
    return bytes;
}

std::ptrdiff_t openDescriptors() {
    std::filesystem::directory_iterator const entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

class Descriptor {
public:
    Descriptor(std::string const& path, int flags) : value_(open(path.c_str(), flags)) {}
    ~Descriptor() { close(value_); }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;

    void write(std::vector<unsigned char> const& bytes) const {
        EXPECT_EQ(::write(value_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

private:
    int value_;
};

/// A started agent and a named pipe.
class ListenerTest : public AgentFixture {
protected:
    void SetUp() override {
        AgentFixture::SetUp();
        pauses.clear();
        duringPause = nullptr;
        ASSERT_EQ(audioCB_init(0, nullptr), 0);
        pipe_ = folder_.file("pipe");
        ASSERT_EQ(mkfifo(pipe_.c_str(), 0600), 0);
        platform().threshold = 1000;
        platform().log.clear();
        descriptors_ = openDescriptors();
    }

    void TearDown() override {
        EXPECT_EQ(openDescriptors(), descriptors_);
        AgentFixture::TearDown();
    }

    static void setCallback() {
        testing::internal::CaptureStdout();
        EXPECT_EQ(set_audioCallback(1, take, &blocks_), 0);
        testing::internal::GetCapturedStdout();
    }

    std::int32_t notify(std::string const& path, std::uint32_t length) const {
        return platform().listeners.back()->onAudioDataNotify(frame::MsgIds::none, transport_, path,
                                                              length);
    }

    std::string pipe_;
    std::ptrdiff_t descriptors_ = 0;
};

// First in this program: no callback can be taken back.
TEST_F(ListenerTest, withoutACallbackThePipeIsLeftAlone) {
    EXPECT_EQ(notify("/no/such/pipe", 100), 0);
    EXPECT_EQ(notify("/no/such/pipe", 20000), 0);
    EXPECT_THAT(platform().log, IsEmpty());
}

class ReadingTest : public ListenerTest {
protected:
    void SetUp() override {
        ListenerTest::SetUp();
        setCallback();
    }
};

TEST_F(ReadingTest, theLargestBlockArrivesWhole) {
    Descriptor const service(pipe_, O_RDWR);
    service.write(samples(16384));
    EXPECT_EQ(notify(pipe_, 16384), 16384);
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].bytes, samples(16384));
    EXPECT_EQ(blocks_[0].userData, &blocks_);
    EXPECT_THAT(platform().log, IsEmpty());
    EXPECT_THAT(pauses, IsEmpty());
}

TEST_F(ReadingTest, openingWaitsForTheService) {
    std::thread service([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        Descriptor(pipe_, O_WRONLY).write(samples(300));
    });
    EXPECT_EQ(notify(pipe_, 300), 300);
    service.join();
    EXPECT_EQ(blocks_.at(0).bytes, samples(300));
}

TEST_F(ReadingTest, whatCannotBeReadIsReportedOnceAndDeliversNothing) {
    struct {
        std::string path;
        std::uint32_t length;
        std::int32_t result;
        char const* text;
    } const cases[] = {{"/no/such/pipe", 16385, 0, "the dataLen[16385] is error\n"},
                       {"/no/such/pipe", 0xFFFFFFFF, 0, "the dataLen[-1] is error\n"},
                       {"", 100, 0, "open failed errno=2\n"},
                       {pipe_ + "/below", 100, 0, "open failed errno=20\n"},
                       {folder_.file(""), 100, -1, "read failed errno=21\n"}};
    for (auto const& [path, length, result, text] : cases) {
        platform().log.clear();
        EXPECT_EQ(notify(path, length), result);
        EXPECT_THAT(platform().log, ElementsAre(errorLine("readDataFromPipe", text)));
    }
    EXPECT_THAT(pauses, ElementsAre(1000)) << "only before the second read";
    EXPECT_THAT(blocks_, IsEmpty());
}

TEST_F(ReadingTest, lengthZeroDeliversNothing) {
    Descriptor const service(pipe_, O_RDWR);
    service.write(samples(10));
    EXPECT_EQ(notify(pipe_, 0), 0);
    ASSERT_EQ(platform().log.size(), 1U);
    EXPECT_THAT(platform().log[0].text, testing::StartsWith("read failed errno="));
    EXPECT_THAT(pauses, ElementsAre(1000));
    EXPECT_THAT(blocks_, IsEmpty());
}

TEST_F(ReadingTest, aShortBlockIsDeliveredAsItIs) {
    auto const restOfBuffer = [](unsigned char const* data, std::int32_t size, void* userData) {
        auto const zeros =
            std::all_of(data + size, data + 16384, [](auto byte) { return byte == 0; });
        *static_cast<bool*>(userData) = zeros;
        take(data, size, userData);
    };
    Descriptor const service(pipe_, O_RDWR);
    service.write(samples(16384));
    EXPECT_EQ(notify(pipe_, 16384), 16384);

    bool restIsZero = false;
    testing::internal::CaptureStdout();
    set_audioCallback(1, restOfBuffer, &restIsZero);
    testing::internal::GetCapturedStdout();
    for (int const size : {100, 1}) {
        service.write(samples(static_cast<std::size_t>(size)));
        EXPECT_EQ(notify(pipe_, 4096), size);
        EXPECT_EQ(blocks_.back().bytes, samples(static_cast<std::size_t>(size)));
        EXPECT_TRUE(std::exchange(restIsZero, false));
    }
    EXPECT_EQ(blocks_.size(), 3U);
    EXPECT_THAT(platform().log, IsEmpty());
}

TEST_F(ReadingTest, aSecondReadMaySucceed) {
    std::thread service([this] { Descriptor(pipe_, O_WRONLY); });
    std::unique_ptr<Descriptor> late;
    duringPause = [&] {
        late = std::make_unique<Descriptor>(pipe_, O_RDWR);
        late->write(samples(512));
    };
    EXPECT_EQ(notify(pipe_, 4096), 512);
    service.join();
    ASSERT_EQ(platform().log.size(), 1U);
    EXPECT_THAT(platform().log[0].text, testing::StartsWith("read failed errno="));
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].bytes, samples(512));
    EXPECT_THAT(pauses, ElementsAre(1000));
}

}  // namespace
