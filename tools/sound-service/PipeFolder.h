/// @file
/// The folder that the pipes lie in.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace sound::service {

/// A folder that only this user can enter, named for the service's address: in $XDG_RUNTIME_DIR,
/// or else in memory (/dev/shm), or else in /tmp. It is locked for as long as the service lives. A
/// service that has died leaves it behind with its pipes, and clients may wait in opening them for
/// a writer: the next one at the address lets them go and clears it.
class PipeFolder {
public:
    /// @throws std::system_error when it cannot be made, with std::errc::address_in_use when a
    ///         service that lives has it
    explicit PipeFolder(std::string const& serviceAddress);

    /// Removes it with all that is in it.
    ~PipeFolder();
    PipeFolder(PipeFolder const&) = delete;
    PipeFolder& operator=(PipeFolder const&) = delete;

    std::string const& path() const { return path_; }

    /// Becomes readable when a reader has closed a pipe.
    int closings() const { return closings_; }

    /// Calls @p closed with the name of each pipe that a reader has closed.
    /// @return false when some have been missed
    bool takeClosings(std::function<void(std::string const& name)> const& closed);

private:
    void makeAndLock(std::string const& parent, std::string const& name);
    template <class Action>
    void forEachFile(Action const& action) const;
    void releaseReaders();
    void clear();
    void close();

    std::string path_;
    int folder_ = -1;  // its lock, too
    int closings_ = -1;
};

}  // namespace sound::service
