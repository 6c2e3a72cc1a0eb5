// The player and the pipes' folder, with a transport that fails as it is told to.
#include "Player.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

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

class PlayerTest : public testing::Test {
protected:
    static constexpr std::size_t kBlock = 1000;

    PlayerTest() {
        ::setenv("XDG_RUNTIME_DIR", std::filesystem::path(runtime_.file("")).c_str(), 1);
        folder_.emplace("here");
        player_.emplace(makeTone(1, 8000, 1, {}), Player::Settings{kBlock, true}, *folder_);
        playing_ = std::jthread([this](std::stop_token const& stop) {
            player_->run(stop, [this](auto const& client, auto const& path, std::uint32_t size) {
                return announce(client, path, size);
            });
        });
    }

    /// Has the next announcements end so, and the one after them find that the client has left.
    void play(std::vector<std::int32_t> const& outcomes) {
        {
            std::lock_guard const lock(mutex_);
            outcomes_ = outcomes;
            blocks_.clear();
        }
        player_->switchStream(kClient, true);
    }

    std::vector<std::uint64_t> blocks() {
        std::lock_guard const lock(mutex_);
        return blocks_;
    }

    bool folderIsEmpty() const { return std::filesystem::is_empty(folder_->path()); }

    static constexpr frame::TransportInfo kClient{{0x7F000001, 1, 2, 3, 4, 5, 6}};

    TemporaryFolder runtime_;
    std::optional<PipeFolder> folder_;
    std::optional<Player> player_;

private:
    std::int32_t announce(frame::TransportInfo const& client, std::string const& path,
                          std::uint32_t size) {
        EXPECT_EQ(client.words, kClient.words);
        std::vector<std::byte> block(2 * kBlock);
        int const pipe = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        EXPECT_EQ(::read(pipe, block.data(), block.size()), static_cast<ssize_t>(size)) << path;
        ::close(pipe);
        block.resize(size);

        std::lock_guard const lock(mutex_);
        for (std::uint64_t number = 0; number < 16; ++number) {
            std::vector<std::byte> expected(kBlock);
            copyBlock(sound_, number * kBlock, expected);
            if (block == expected) blocks_.push_back(number);
        }
        if (blocks_.size() > outcomes_.size()) return -ENOTCONN;
        return outcomes_[blocks_.size() - 1];
    }

    Sound const sound_ = makeTone(1, 8000, 1, {});
    std::mutex mutex_;
    std::vector<std::int32_t> outcomes_;
    std::vector<std::uint64_t> blocks_;  ///< their numbers from the sound's beginning
    std::jthread playing_;               // last: it uses the others
};

TEST_F(PlayerTest, WhatCannotBeAnnouncedIsTriedAgainOrEndsTheStream) {
    testing::internal::CaptureStderr();
    play({-EAGAIN, -ENOMEM, 0, 0, -EIO});
    EXPECT_TRUE(eventually([this] { return blocks().size() == 5; }));
    EXPECT_TRUE(eventually([this] { return folderIsEmpty(); })) << "a pipe has been left";
    EXPECT_EQ(blocks(), (std::vector<std::uint64_t>{0, 0, 0, 1, 2}));
    auto const log = testing::internal::GetCapturedStderr();
    EXPECT_NE(log.find("Input/output error; its stream is ended"), std::string::npos) << log;

    testing::internal::CaptureStderr();
    play({0, 0});
    EXPECT_TRUE(eventually([this] { return blocks().size() == 3; }));
    EXPECT_EQ(blocks(), (std::vector<std::uint64_t>{0, 1, 2})) << "from the sound's beginning";
    player_->forget(kClient);
    EXPECT_TRUE(eventually([this] { return folderIsEmpty(); })) << "a pipe has been left";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "who has left is no failure";
}

TEST_F(PlayerTest, ANewFolderLetsThoseGoWhoWaitInADeadServicesPipes) {
    auto const folder = folder_->path().substr(0, folder_->path().rfind('-')) + "-there";
    auto const path = folder + "/7";
    ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    pollfd reader{::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), 0, 0};
    EXPECT_EQ(::poll(&reader, 1, 0), 0);
    PipeFolder const next("there");
    EXPECT_EQ(::poll(&reader, 1, 0), 1);
    EXPECT_EQ(reader.revents, POLLHUP) << "there was a writer, and is none any more";
    ::close(reader.fd);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

}  // namespace
}  // namespace sound::service
