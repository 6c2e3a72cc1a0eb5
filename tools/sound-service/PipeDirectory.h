/// @file
/// The folder that the pipes lie in.
#pragma once

#include <string>

namespace sound::service {

/// A folder of its own that only this user can enter, under $XDG_RUNTIME_DIR or /tmp.
class PipeDirectory {
public:
    /// @throws std::system_error when it cannot be made
    PipeDirectory();
    ~PipeDirectory();
    PipeDirectory(PipeDirectory const&) = delete;
    PipeDirectory& operator=(PipeDirectory const&) = delete;

    std::string const& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace sound::service
