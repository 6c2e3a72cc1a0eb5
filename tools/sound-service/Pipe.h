/// @file
/// A named pipe that takes blocks of sound to a client, one at a time.
#pragma once

#include <chrono>
#include <cstddef>
#include <span>
#include <string>

namespace sound::service {

/// How long a pipe that is taken away stays open for a reader that has found its path just before:
/// were it closed between that reader's finding and opening it, the reader would wait for ever.
inline constexpr std::chrono::milliseconds kOpeningGrace{50};

/// Made once and used again for block after block. A block lies in it whole before it is announced,
/// so that the reader neither waits in opening it nor gets a part only. Both ends are held open
/// here: nothing blocks, and nothing raises SIGPIPE. It may carry the next block only when the last
/// reader has closed it: one that still has it open would take from the next block, too.
class Pipe {
public:
    /// @throws std::system_error when it cannot be made
    Pipe(std::string path, std::size_t blockSize);

    /// Removes it with what is left in it.
    ~Pipe();
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;

    std::string const& path() const { return path_; }

    /// @throws std::system_error when it does not take the whole block; there is nothing in it then
    void put(std::span<std::byte const> block);

    bool isEmpty() const;

    /// Takes out what a reader has left in it.
    void drain();

    /// Keeps new readers out. One that is about to open it still finds the block in it.
    void unlink();

private:
    explicit Pipe(std::string path);

    std::string path_;
    int descriptor_ = -1;
};

}  // namespace sound::service
