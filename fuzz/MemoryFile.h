// A file of any content that takes no disk.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace fuzz {

class MemoryFile {
public:
    MemoryFile(std::uint8_t const* data, std::size_t size) {
        if (::write(file_, data, size) != static_cast<ssize_t>(size)) std::abort();
    }
    ~MemoryFile() { ::close(file_); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_ = ::memfd_create("fuzz", MFD_CLOEXEC);
};

}  // namespace fuzz
