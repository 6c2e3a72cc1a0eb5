// How the agent reads an announced block from its pipe.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
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

std::string samples(int size) {
    std::string bytes(static_cast<std::size_t>(size), '\0');
    std::iota(bytes.begin(), bytes.end(), '\1');
    return bytes;
}

std::ptrdiff_t openDescriptors() {
    std::filesystem::directory_iterator const entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries));
}

/// A started agent with a callback, and a named pipe. A stream is the service's end of it.
class ListenerTest : public AgentFixture {
protected:
    void SetUp() override {
        AgentFixture::SetUp();
        pauses.clear();
        duringPause = nullptr;
        ASSERT_EQ(audioCB_init(0, nullptr), 0);
        request(1, take);
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

    std::string pipe_;
    std::ptrdiff_t descriptors_ = 0;
};

TEST_F(ListenerTest, aBlockArrivesAsItIsInABufferOfZeros) {
    auto const takeAndLookBehind = [](unsigned char const* data, std::int32_t size, void* zeros) {
        *static_cast<bool*>(zeros) =
            std::all_of(data + size, data + 16384, [](auto byte) { return byte == 0; });
        take(data, size, zeros);
    };
    bool restIsZero = false;
    request(1, takeAndLookBehind, &restIsZero);
    std::fstream service(pipe_);
    for (auto const& [size, announced] : {std::pair{16384, 16384U}, {100, 4096U}, {1, 4096U}}) {
        service << samples(size) << std::flush;
        EXPECT_EQ(notify(pipe_, announced), size);
        EXPECT_EQ(blocks_.back().bytes, samples(size));
        EXPECT_EQ(blocks_.back().userData, &restIsZero);
        EXPECT_TRUE(std::exchange(restIsZero, false));
    }
    EXPECT_EQ(blocks_.size(), 3U);
    EXPECT_THAT(platform().log, IsEmpty());
    EXPECT_THAT(pauses, IsEmpty());
}

TEST_F(ListenerTest, openingWaitsForTheService) {
    std::thread service([this] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        std::ofstream(pipe_) << samples(300);
    });
    EXPECT_EQ(notify(pipe_, 300), 300);
    service.join();
    EXPECT_EQ(blocks_.at(0).bytes, samples(300));
}

TEST_F(ListenerTest, whatCannotBeReadIsReportedOnceAndDeliversNothing) {
    std::fstream service(pipe_);
    service << samples(10) << std::flush;
    struct {
        std::string path;
        std::uint32_t length;
        std::int32_t result;
        char const* text;
    } const cases[] = {{pipe_, 0, 0, "read failed errno=0\n"},
                       {"/no/such/pipe", 16385, 0, "the dataLen[16385] is error\n"},
                       {"/no/such/pipe", 0xFFFFFFFF, 0, "the dataLen[-1] is error\n"},
                       {"", 100, 0, "open failed errno=2\n"},
                       {pipe_ + "/below", 100, 0, "open failed errno=20\n"},
                       {folder_.file(""), 100, -1, "read failed errno=21\n"}};
    errno = 0;
    for (auto const& [path, length, result, text] : cases) {
        platform().log.clear();
        EXPECT_EQ(notify(path, length), result);
        EXPECT_THAT(platform().log, ElementsAre(errorLine("readDataFromPipe", text)));
    }
    EXPECT_THAT(pauses, ElementsAre(1000, 1000)) << "only before a second read";
    EXPECT_THAT(blocks_, IsEmpty());
}

TEST_F(ListenerTest, aSecondReadMaySucceed) {
    std::thread service([this] { std::ofstream closedAtOnce(pipe_); });
    std::fstream late;
    duringPause = [&] {
        late.open(pipe_);
        late << samples(512) << std::flush;
    };
    errno = 0;
    EXPECT_EQ(notify(pipe_, 4096), 512);
    service.join();
    EXPECT_THAT(platform().log,
                ElementsAre(errorLine("readDataFromPipe", "read failed errno=0\n")));
    ASSERT_EQ(blocks_.size(), 1U);
    EXPECT_EQ(blocks_[0].bytes, samples(512));
    EXPECT_THAT(pauses, ElementsAre(1000));
}

}  // namespace
