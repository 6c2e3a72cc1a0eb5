/// @file
/// A block of sound in a named pipe of its own.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace sound::service {

/// A named pipe with one block in it, whole, so that the reader neither waits in opening it nor
/// gets a part only. Both ends are held open here: nothing blocks, and nothing raises SIGPIPE.
/// Every block needs a path of its own, since whoever opens a path for the next block while the
/// last reader still has it open would join that reader's pipe.
class PipeBlock {
public:
    /// @throws std::system_error when the pipe cannot be made or does not take the whole block
    PipeBlock(std::string path, std::span<std::byte const> block);

    /// Removes the pipe with what is left in it.
    ~PipeBlock();
    PipeBlock(PipeBlock const&) = delete;
    PipeBlock& operator=(PipeBlock const&) = delete;

    std::string const& path() const { return path_; }

    /// Says whether a reader has taken the block.
    bool isDrained() const;

    /// Keeps new readers out. One that is about to open the pipe still finds the block in it.
    void unlink();

private:
    explicit PipeBlock(std::string path);

    std::string path_;
    int descriptor_ = -1;
};

}  // namespace sound::service
