/// @file
/// Plays the sound to every client that asked for it.
#pragma once

#include <array>
#include <chrono>
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
#include "Pipe.h"
#include "PipeFolder.h"
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
        /// A client that takes no block for so long loses its stream.
        std::chrono::milliseconds patience{10'000};
    };

    /// Tells a client that a block waits in a pipe.
    /// @return negative when it could not be told: -EAGAIN when it may be tried again
    using Announce = std::function<std::int32_t(frame::TransportInfo const& client,
                                                std::string const& path, std::uint32_t size)>;

    /// @param folder  for the pipes; must outlive the player
    /// @throws std::system_error when the system has no descriptor left
    Player(Sound sound, Settings settings, PipeFolder& folder);

    /// Withdraws the blocks that no one has taken.
    ~Player();
    Player(Player const&) = delete;
    Player& operator=(Player const&) = delete;

    /// Starts a client's stream; nothing changes when it is on already, even after the sound's end.
    /// Switching off leaves the blocks announced so far to the client. Any thread.
    void switchStream(frame::TransportInfo const& client, bool on);

    /// Ends the stream of a client that has gone. Any thread.
    void forget(frame::TransportInfo const& client);

    /// Plays until @p stop is requested.
    void run(std::stop_token const& stop, Announce const& announce);

private:
    using Clock = std::chrono::steady_clock;
    using Pipes = std::list<Pipe>;

    struct Stream {
        frame::TransportInfo client;
        bool on = false;
        std::uint64_t position = 0;  ///< of the next block, in bytes
        Clock::time_point start;
        Pipes free;
        Pipes announced;
        Clock::time_point lastProgress;
        Clock::time_point retryAt;
        bool troubleReported = false;
    };

    bool hasEnded(Stream const& stream) const;
    Clock::time_point dueTime(Stream const& stream) const;
    Clock::time_point serveAll(Announce const& announce);
    Clock::time_point serve(Stream& stream, Announce const& announce);
    void sendBlock(Stream& stream, Announce const& announce);
    static std::int32_t tryToAnnounce(Announce const& announce, frame::TransportInfo const& client,
                                      Pipe const& pipe, std::size_t size);
    bool findFreePipe(Stream& stream);
    void takeClosedPipes();
    void free(Stream& stream, Pipes::iterator pipe);
    void retryLater(Stream& stream, Clock::duration delay);
    void end(Stream& stream, std::string const& reason);
    void withdraw(Stream& stream);
    void wait(Clock::time_point until);
    void wake() const;

    Sound const sound_;
    Settings const settings_;
    PipeFolder& folder_;
    int const wakeUp_;
    std::vector<std::byte> buffer_;
    /// In the last pipe's name. Begins where no earlier service's went: a client may still believe
    /// what that one has announced, and must not take a block of another's.
    std::int64_t pipeNumber_ = Clock::now().time_since_epoch().count();

    std::mutex mutex_;
    std::map<std::array<std::uint32_t, 7>, Stream> streams_;
    bool waitsForReaders_ = false;  ///< a stream goes on when a pipe has been closed
    /// Pipes withdrawn, and when to close them.
    std::list<std::pair<Clock::time_point, Pipes>> withdrawn_;
};

}  // namespace sound::service
