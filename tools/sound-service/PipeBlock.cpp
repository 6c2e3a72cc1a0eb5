#include "PipeBlock.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace sound::service {

namespace {

[[noreturn]] void fail(std::string const& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

PipeBlock::PipeBlock(std::string path) : path_(std::move(path)) {
    if (::mkfifo(path_.c_str(), S_IRUSR | S_IWUSR) != 0) fail("cannot make the pipe " + path_);
}

// The first step is delegated, so that the destructor tidies up when a later one fails.
PipeBlock::PipeBlock(std::string path, std::span<std::byte const> block)
    : PipeBlock(std::move(path)) {
    descriptor_ = ::open(path_.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor_ < 0) fail("cannot open the pipe " + path_);
    // Usually less than a pipe has by default: the kernel limits what one user's pipes may hold
    // together, and makes further pipes tiny. When this fails the write says whether it matters.
    ::fcntl(descriptor_, F_SETPIPE_SZ, static_cast<int>(block.size()));
    auto const written = ::write(descriptor_, block.data(), block.size());
    if (written < 0) fail("cannot write to the pipe " + path_);
    if (static_cast<std::size_t>(written) != block.size()) {
        errno = ENOBUFS;
        fail("a block of " + std::to_string(block.size()) + " bytes does not fit into the pipe " +
             path_);
    }
}

PipeBlock::~PipeBlock() {
    unlink();
    if (descriptor_ >= 0) ::close(descriptor_);
}

bool PipeBlock::isDrained() const {
    int waiting = 0;
    return ::ioctl(descriptor_, FIONREAD, &waiting) == 0 && waiting == 0;
}

void PipeBlock::unlink() {
    ::unlink(path_.c_str());
}

}  // namespace sound::service
