#include "PipeFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <system_error>
#include <thread>
#include <vector>

#include "Pipe.h"

namespace sound::service {

namespace {

using namespace std::chrono_literals;

/// How long one that is just ending may take to let go of the folder.
constexpr auto kLockLimit = 1s;

[[noreturn]] void fail(int error, std::string const& what) {
    throw std::system_error(error, std::generic_category(), what);
}

std::string parentFolder() {
    if (char const* const runtime = std::getenv("XDG_RUNTIME_DIR")) {
        if (::access(runtime, W_OK | X_OK) == 0) return runtime;
    }
    return ::access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : "/tmp";
}

bool isAt(std::string const& path, struct stat const& expected) {
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 && found.st_ino == expected.st_ino &&
           found.st_dev == expected.st_dev;
}

}  // namespace

PipeFolder::PipeFolder(std::string const& serviceAddress) {
    try {
        makeAndLock(parentFolder(),
                    "sound-service-" + std::to_string(::geteuid()) + '-' + serviceAddress);
        releaseReaders();
        clear();
        closings_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (closings_ < 0 || ::inotify_add_watch(closings_, path_.c_str(), IN_CLOSE_NOWRITE) < 0) {
            fail(errno, "cannot watch the pipes' folder " + path_);
        }
    } catch (...) {
        close();
        throw;
    }
}

PipeFolder::~PipeFolder() {
    clear();
    ::rmdir(path_.c_str());
    close();
}

void PipeFolder::close() {
    if (closings_ >= 0) ::close(closings_);
    if (folder_ >= 0) ::close(folder_);
}

void PipeFolder::makeAndLock(std::string const& parent, std::string const& name) {
    path_ = parent + '/' + name;
    auto const end = std::chrono::steady_clock::now() + kLockLimit;
    while (true) {
        if (::mkdir(path_.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
            fail(errno, "cannot make a folder for the pipes, " + path_);
        }
        folder_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        struct stat status {};
        if (folder_ < 0 || ::fstat(folder_, &status) != 0) {
            if (errno == ENOENT) continue;  // the one before has just removed it
            fail(errno, "cannot use the folder for the pipes, " + path_);
        }
        if (status.st_uid != ::geteuid() || (status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
            fail(EPERM, path_ +
                            " is not this user's alone; remove it, or set XDG_RUNTIME_DIR to a "
                            "folder that is");
        }
        // One that has been removed in between is no use to anybody.
        if (::flock(folder_, LOCK_EX | LOCK_NB) == 0 && isAt(path_, status)) return;
        ::close(folder_);
        folder_ = -1;
        if (std::chrono::steady_clock::now() >= end) {
            fail(EADDRINUSE, path_ + " is in use by another sound service");
        }
        std::this_thread::sleep_for(10ms);
    }
}

/// Gives those who wait in opening a dead service's pipes what they wait for: a writer, and then
/// the end of the data.
void PipeFolder::releaseReaders() {
    std::vector<int> writers;
    forEachFile([&](char const* name) {
        int const writer = ::openat(folder_, name, O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        ::unlinkat(folder_, name, 0);
        if (writer >= 0) writers.push_back(writer);
    });
    if (writers.empty()) return;
    std::this_thread::sleep_for(kOpeningGrace);
    for (int const writer : writers) ::close(writer);
}

void PipeFolder::clear() {
    forEachFile([this](char const* name) { ::unlinkat(folder_, name, 0); });
}

template <class Action>
void PipeFolder::forEachFile(Action const& action) const {
    int const folder = ::openat(folder_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return;
    auto const closeFiles = [](DIR* files) { ::closedir(files); };
    std::unique_ptr<DIR, decltype(closeFiles)> const files(::fdopendir(folder), closeFiles);
    if (!files) {
        ::close(folder);
        return;
    }
    while (auto const* const file = ::readdir(files.get())) {
        if (file->d_type != DT_DIR) action(file->d_name);
    }
}

bool PipeFolder::takeClosings(std::function<void(std::string const& name)> const& closed) {
    bool complete = true;
    alignas(inotify_event) std::array<char, 8192> events;
    ssize_t size = 0;
    do {
        size = ::read(closings_, events.data(), events.size());
        for (ssize_t at = 0; at < size;) {
            inotify_event event;
            std::memcpy(&event, &events[static_cast<std::size_t>(at)], sizeof event);
            if ((event.mask & IN_Q_OVERFLOW) != 0) complete = false;
            if (event.len > 0) closed(&events[static_cast<std::size_t>(at) + sizeof event]);
            at += static_cast<ssize_t>(sizeof event + event.len);
        }
        // There is no more than what did not fill the room.
    } while (size > static_cast<ssize_t>(events.size() / 2));
    return complete;
}

}  // namespace sound::service
