/// @file
/// Plays the sound to every client that asked for it.
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "frame/message_meta.h"
#include "PipeBlock.h"
#include "PipeDirectory.h"
#include "Sound.h"

namespace sound::service {

/// Gives each client a stream of its own, from the sound's beginning, as blocks in pipes. One
/// thread serves all streams; nothing it does waits for a client, so that a slow or dead one
/// delays no other.
class Player {
public:
    struct Settings {
        std::size_t blockSize = 4096;
        bool fast = false;  ///< as fast as clients take the blocks, not in real time
    };

    /// Tells a client that a block waits in a pipe.
    /// @return negative when it could not be told: -EAGAIN when it may be tried again
    using Announce = std::function<std::int32_t(frame::TransportInfo const& client,
                                                std::string const& path, std::uint32_t size)>;

    Player(Sound sound, Settings settings);

    /// Withdraws the blocks that no one has taken.
    ~Player();
    Player(Player const&) = delete;
    Player& operator=(Player const&) = delete;

    /// Starts a client's stream; nothing changes when it is on already, even after the sound's end.
    /// Switching off leaves the blocks announced so far to the client, until it is switched on
    /// again. Any thread.
    void switchStream(frame::TransportInfo const& client, bool on);

    /// Ends the stream of a client that has gone. Any thread.
    void forget(frame::TransportInfo const& client);

    /// Plays until @p stop is requested.
    void run(std::stop_token const& stop, Announce const& announce);

private:
    using Clock = std::chrono::steady_clock;
    using Blocks = std::list<PipeBlock>;

    struct Stream {
        frame::TransportInfo client;
        bool on = false;
        std::uint64_t position = 0;  ///< of the next block, in bytes
        Clock::time_point start;
        Blocks outstanding;
        Clock::time_point lastProgress;
    };

    bool hasEnded(Stream const& stream) const;
    Clock::time_point dueTime(Stream const& stream) const;
    Clock::time_point serveAll(Announce const& announce);
    Clock::time_point serve(Stream& stream, Announce const& announce);
    bool sendBlock(Stream& stream, Announce const& announce);
    std::int32_t announceNext(Stream& stream, std::size_t size, Announce const& announce);
    void end(Stream& stream, std::string const& reason);
    void withdraw(Blocks& blocks);

    Sound const sound_;
    Settings const settings_;
    PipeDirectory const directory_;
    std::vector<std::byte> buffer_;
    std::uint64_t blockNumber_ = 0;

    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool hasChanged_ = false;
    std::map<std::array<std::uint32_t, 7>, Stream> streams_;
    /// Blocks withdrawn, and when to close them.
    std::list<std::pair<Clock::time_point, Blocks>> withdrawn_;
};

}  // namespace sound::service
