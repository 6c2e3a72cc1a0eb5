#include "Pipe.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace sound::service {

namespace {

[[noreturn]] void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Pipe::Pipe(std::string path) : path_(std::move(path)) {
    if (::mkfifo(path_.c_str(), S_IRUSR | S_IWUSR) != 0) fail("cannot make the pipe " + path_);
}

// The first step is delegated, so that the destructor tidies up when a later one fails.
Pipe::Pipe(std::string path, std::size_t blockSize) : Pipe(std::move(path)) {
    descriptor_ = ::open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot open the pipe " + path_);
    // Usually less than a pipe has by default: the kernel limits what one user's pipes may hold
    // together, and makes further pipes tiny. When this fails the write says whether it matters.
    ::fcntl(descriptor_, F_SETPIPE_SZ, static_cast<int>(blockSize));
}

Pipe::~Pipe() {
    unlink();
    if (descriptor_ >= 0) ::close(descriptor_);
}

void Pipe::put(std::span<std::byte const> block) {
    auto const written = ::write(descriptor_, block.data(), block.size());
    if (written < 0) fail("cannot write to the pipe " + path_);
    if (static_cast<std::size_t>(written) == block.size()) return;
    drain();
    errno = ENOBUFS;
    fail("a block of " + std::to_string(block.size()) + " bytes does not fit into the pipe " +
         path_);
}

bool Pipe::isEmpty() const {
    int waiting = 0;
    return ::ioctl(descriptor_, FIONREAD, &waiting) == 0 && waiting == 0;
}

void Pipe::drain() {
    std::array<std::byte, 4096> rest;
    while (!isEmpty() && ::read(descriptor_, rest.data(), rest.size()) > 0) continue;
}

void Pipe::unlink() {
    ::unlink(path_.c_str());
}

}  // namespace sound::service
