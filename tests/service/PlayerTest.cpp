// The player and the pipes' folder, with a transport that fails as it is told to.
#include "Player.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

#include "Pipe.h"
#include "TemporaryFolder.h"

namespace sound::service {
namespace {

using namespace std::chrono_literals;

bool eventually(std::function<bool()> const& condition) {
    for (int tries = 0; tries < 5000; ++tries) {
        if (condition()) return true;
        std::this_thread::sleep_for(1ms);
    }
    return false;
}

/// Without waiting for a writer.
int openToRead(std::string const& path) {
    return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
}

std::size_t files(std::string const& folder) {
    std::filesystem::directory_iterator const each(folder);
    return static_cast<std::size_t>(std::distance(begin(each), end(each)));
}

class PlayerTest : public testing::Test {
protected:
    static constexpr std::size_t kBlock = 1000;
    static constexpr frame::TransportInfo kClient{{0x7F000001, 1, 2, 3, 4, 5, 6}};
    static constexpr auto kPatience = 300ms;

    PlayerTest() {
        ::setenv("XDG_RUNTIME_DIR", runtime_.file("").c_str(), 1);
        folder_.emplace("here");
        player_.emplace(sound_, Player::Settings{kBlock, true, kPatience}, *folder_);
        playing_ = std::jthread([this](std::stop_token const& stop) {
            player_->run(stop, [this](auto const& client, auto const& path, std::uint32_t size) {
                return announce(client, path, size);
            });
        });
    }

    /// Switches the client's stream on. The next announcements end so, and each one after them
    /// finds that the client has left.
    /// @param takes  whether the client reads the blocks
    void play(std::vector<std::int32_t> const& outcomes, bool takes) {
        {
            std::lock_guard const lock(mutex_);
            outcomes_ = outcomes;
            takes_ = takes;
            blocks_.clear();
        }
        player_->switchStream(kClient, true);
    }

    void stop() {
        playing_ = {};
        player_.reset();
    }

    /// Which blocks have been announced, by their numbers from the sound's beginning.
    std::vector<std::size_t> blocks() {
        std::lock_guard const lock(mutex_);
        return blocks_;
    }

    std::size_t pipes() const { return files(folder_->path()); }

    TemporaryFolder runtime_;
    std::optional<PipeFolder> folder_;
    std::optional<Player> player_;

private:
    std::int32_t announce(frame::TransportInfo const& client, std::string const& path,
                          std::uint32_t size) {
        EXPECT_EQ(client.words, kClient.words);
        std::lock_guard const lock(mutex_);
        blocks_.push_back(takes_ ? take(path, size) : blocks_.size());
        return blocks_.size() > outcomes_.size() ? -ENOTCONN : outcomes_[blocks_.size() - 1];
    }

    /// @return the block's number
    std::size_t take(std::string const& path, std::size_t size) const {
        std::vector<std::byte> block(2 * kBlock);
        int const pipe = openToRead(path);
        EXPECT_EQ(::read(pipe, block.data(), block.size()), static_cast<ssize_t>(size)) << path;
        ::close(pipe);
        block.resize(size);
        std::vector<std::byte> expected(kBlock);
        std::size_t number = 0;
        while (copyBlock(sound_, number * kBlock, expected), block != expected) ++number;
        return number;
    }

    Sound const sound_ = makeTone(1, 8000, 1, {});
    std::mutex mutex_;
    std::vector<std::int32_t> outcomes_;
    bool takes_ = true;
    std::vector<std::size_t> blocks_;
    std::jthread playing_;  // last: it uses the others
};

TEST_F(PlayerTest, WhatCannotBeAnnouncedIsTriedAgainOrEndsTheStream) {
    testing::internal::CaptureStderr();
    auto const start = std::chrono::steady_clock::now();
    play({-EAGAIN, -ENOMEM, 0, 0, -EIO}, true);
    EXPECT_TRUE(eventually([this] { return blocks().size() == 5; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, 40ms) << "tried again without a pause";
    EXPECT_TRUE(eventually([this] { return pipes() == 0; }));
    EXPECT_EQ(blocks(), (std::vector<std::size_t>{0, 0, 0, 1, 2}));
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("127.0.0.1:1: Input/output error; its stream is ended"), std::string::npos)
        << log;

    testing::internal::CaptureStderr();
    play({0, 0}, true);
    EXPECT_TRUE(eventually([this] { return blocks().size() == 3; }));
    EXPECT_EQ(blocks(), (std::vector<std::size_t>{0, 1, 2})) << "from the sound's beginning";
    player_->forget(kClient);
    EXPECT_TRUE(eventually([this] { return pipes() == 0; }));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "who has left is no failure";
}

TEST_F(PlayerTest, WhoTakesNoMoreHasSoManyBlocksWaitingAndIsNotWaitedForForEver) {
    testing::internal::CaptureStderr();
    play(std::vector<std::int32_t>(100, 0), false);
    ASSERT_TRUE(eventually([this] { return blocks().size() == 16; }));
    std::this_thread::sleep_for(kPatience / 3);
    ASSERT_EQ(pipes(), 16U);
    auto const taken = std::chrono::steady_clock::now();
    ::close(openToRead(std::filesystem::directory_iterator(folder_->path())->path()));
    EXPECT_TRUE(eventually([this] { return pipes() == 0; }));
    EXPECT_GE(std::chrono::steady_clock::now() - taken, kPatience);
    EXPECT_EQ(blocks().size(), 17U) << "another in the place of the one that was taken";
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("it has taken no block for 0.3 s; its stream is ended"), std::string::npos)
        << log;
}

TEST_F(PlayerTest, WhoIsJustOpeningAPipeIsGivenTimeWhenItIsWithdrawn) {
    for (bool const ends : {false, true}) {
        play(std::vector<std::int32_t>(16, 0), false);
        ASSERT_TRUE(eventually([this] { return pipes() == 16; }));
        pollfd reader{openToRead(std::filesystem::directory_iterator(folder_->path())->path()), 0,
                      0};
        auto const start = std::chrono::steady_clock::now();
        if (ends) {
            stop();
        } else {
            player_->forget(kClient);
        }
        EXPECT_EQ(pipes(), 0U);
        EXPECT_EQ(::poll(&reader, 1, 5000), 1) << "the writer does not go";
        EXPECT_GE(std::chrono::steady_clock::now() - start, kOpeningGrace);
        ::close(reader.fd);
        EXPECT_EQ(blocks().size(), 16U) << "nothing is announced to one who has gone";
    }
}

using PipeTest = PlayerTest;

TEST_F(PipeTest, HasABlockWholeOrNotAtAll) {
    Pipe pipe(folder_->path() + "/1", kBlock);
    try {
        pipe.put(std::vector<std::byte>(1 << 20));
        ADD_FAILURE() << "there is room for it";
    } catch (std::system_error const& error) {
        EXPECT_EQ(error.code().value(), ENOBUFS);
    }
    EXPECT_TRUE(pipe.isEmpty());
    pipe.put(std::vector<std::byte>(2));
    EXPECT_FALSE(pipe.isEmpty());
    pipe.drain();
    EXPECT_TRUE(pipe.isEmpty());
}

using PipeFolderTest = PlayerTest;

TEST_F(PipeFolderTest, ANewOneLetsThoseGoWhoWaitInADeadServicesPipes) {
    auto const folder = folder_->path().substr(0, folder_->path().rfind('-')) + "-there";
    auto const path = folder + "/7";
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    pollfd reader{openToRead(path), 0, 0};
    EXPECT_EQ(::poll(&reader, 1, 0), 0);
    PipeFolder const next("there");
    EXPECT_EQ(::poll(&reader, 1, 0), 1);
    EXPECT_EQ(reader.revents, POLLHUP) << "there was a writer, and is none any more";
    ::close(reader.fd);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(PipeFolderTest, IsThereForOneServiceAndWithoutARuntimeFolderElsewhere) {
    try {
        PipeFolder const second("here");
        ADD_FAILURE() << "two have it";
    } catch (std::system_error const& error) {
        EXPECT_EQ(error.code(), std::errc::address_in_use);
    }
    ::setenv("XDG_RUNTIME_DIR", "/nowhere", 1);
    auto const before = files("/proc/self/fd");
    std::string const inMemory = ::access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
    EXPECT_TRUE(PipeFolder("here").path().starts_with(inMemory + "/sound-service-"));
    EXPECT_EQ(files("/proc/self/fd"), before);
}

TEST_F(PipeFolderTest, TellsWhichPipesWereClosedAndWhenItHasMissedSome) {
    PipeFolder folder("there");
    std::vector<std::string> names{"1", "a name of some length"};
    for (auto const& name : names) {
        ASSERT_EQ(::mkfifo((folder.path() + '/' + name).c_str(), 0600), 0);
    }
    std::vector<std::string> closed;
    auto const openAndClose = [&](int times) {
        closed.clear();
        for (int i = 0; i < times; ++i) {
            for (auto const& name : names) ::close(openToRead(folder.path() + '/' + name));
        }
        return folder.takeClosings([&](auto const& name) { closed.push_back(name); });
    };
    EXPECT_TRUE(openAndClose(1));
    EXPECT_EQ(closed, names);
    EXPECT_TRUE(openAndClose(1000));
    EXPECT_EQ(closed.size(), 2000U);
    int most = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> most;
    EXPECT_FALSE(openAndClose(most));
    EXPECT_TRUE(openAndClose(1));
    EXPECT_EQ(closed, names);
}

}  // namespace
}  // namespace sound::service
