// Preloaded into a program: makes one call of a function fail. script/faults says which.
//
//   AUDVIK_FAIL=malloc:7:12    the 7th call of malloc() fails with errno 12
//
// Calls are counted from the moment when the program looks for /audvik-faults-begin, or, with
// AUDVIK_FAIL_FROM_FOLDER, when it makes its first folder. How many there were is written to
// AUDVIK_FAIL_COUNT at the end.

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<bool> counting = false;
bool fromFolder = false;
std::atomic<long> calls = 0;
char wantedName[32];
long wantedCall = 0;
int wantedError = 0;

__attribute__((constructor)) void readWish() {
    char const* const wish = std::getenv("AUDVIK_FAIL");
    if (wish != nullptr) std::sscanf(wish, "%31[^:]:%ld:%d", wantedName, &wantedCall, &wantedError);
    fromFolder = std::getenv("AUDVIK_FAIL_FROM_FOLDER") != nullptr;
}

__attribute__((destructor)) void writeCount() {
    char const* const path = std::getenv("AUDVIK_FAIL_COUNT");
    if (path == nullptr) return;
    counting = false;
    int const file = static_cast<int>(::open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600));
    dprintf(file, "%ld\n", calls.load());
    ::close(file);
}

/// Says whether this call is to fail, having set errno.
bool fails(char const* name) {
    if (!counting || std::strcmp(name, wantedName) != 0) return false;
    if (++calls != wantedCall) return false;
    errno = wantedError;
    return true;
}

template <class Function>
Function* real(char const* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The real one is looked up when the program begins: the look-up may allocate. Some functions have
// other names, too, in programs that were built for large files or with checks.
#define AUDVIK_FAILING_AS(KIND, RESULT, NAME, PARAMETERS, ARGUMENTS)   \
    extern "C" RESULT NAME PARAMETERS {                                \
        static auto* const next = real<RESULT PARAMETERS>(#NAME);      \
        return fails(KIND) ? static_cast<RESULT>(-1) : next ARGUMENTS; \
    }
#define AUDVIK_FAILING(RESULT, NAME, PARAMETERS, ARGUMENTS) \
    AUDVIK_FAILING_AS(#NAME, RESULT, NAME, PARAMETERS, ARGUMENTS)
#define AUDVIK_FAILING_OPEN(KIND, NAME, PARAMETERS, ...)                            \
    extern "C" int NAME PARAMETERS {                                                \
        static auto* const next = real<int PARAMETERS>(#NAME);                      \
        va_list arguments;                                                          \
        va_start(arguments, flags);                                                 \
        mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0; \
        va_end(arguments);                                                          \
        return fails(KIND) ? -1 : next(__VA_ARGS__, mode);                          \
    }

extern "C" void* __libc_malloc(std::size_t size);
extern "C" void* __libc_calloc(std::size_t count, std::size_t size);

extern "C" void* malloc(std::size_t size) {
    return fails("malloc") ? nullptr : __libc_malloc(size);
}

extern "C" void* calloc(std::size_t count, std::size_t size) {
    return fails("malloc") ? nullptr : __libc_calloc(count, size);
}

extern "C" int access(char const* path, int mode) {
    static auto* const next = real<int(char const*, int)>("access");
    if (std::strcmp(path, "/audvik-faults-begin") == 0) counting = true;
    return next(path, mode);
}

AUDVIK_FAILING_OPEN("open", open, (char const* path, int flags, ...), path, flags)
AUDVIK_FAILING_OPEN("open", open64, (char const* path, int flags, ...), path, flags)
AUDVIK_FAILING_OPEN("openat", openat64, (int folder, char const* path, int flags, ...), folder,
                    path, flags)

// What fails to be closed is closed all the same.
extern "C" int close(int file) {
    static auto* const next = real<int(int)>("close");
    int const status = next(file);
    return fails("close") ? -1 : status;
}

extern "C" int mkdir(char const* path, mode_t mode) {
    static auto* const next = real<int(char const*, mode_t)>("mkdir");
    if (fromFolder) counting = true;
    return fails("mkdir") ? -1 : next(path, mode);
}

AUDVIK_FAILING(ssize_t, read, (int file, void* data, std::size_t size), (file, data, size))
AUDVIK_FAILING_AS("read", ssize_t, __read_chk,
                  (int file, void* data, std::size_t size, std::size_t room),
                  (file, data, size, room))
AUDVIK_FAILING(ssize_t, write, (int file, void const* data, std::size_t size), (file, data, size))
AUDVIK_FAILING(int, flock, (int file, int operation), (file, operation))
AUDVIK_FAILING(int, bind, (int file, sockaddr const* address, socklen_t size),
               (file, address, size))
AUDVIK_FAILING(int, connect, (int file, sockaddr const* address, socklen_t size),
               (file, address, size))
AUDVIK_FAILING(int, eventfd, (unsigned value, int flags), (value, flags))
AUDVIK_FAILING(int, timerfd_create, (clockid_t clock, int flags), (clock, flags))
AUDVIK_FAILING(int, inotify_init1, (int flags), (flags))
AUDVIK_FAILING(int, inotify_add_watch, (int file, char const* path, std::uint32_t what),
               (file, path, what))
AUDVIK_FAILING(ssize_t, getrandom, (void* data, std::size_t size, unsigned flags),
               (data, size, flags))
AUDVIK_FAILING(int, socket, (int domain, int type, int protocol), (domain, type, protocol))
AUDVIK_FAILING(int, mkfifo, (char const* path, mode_t mode), (path, mode))
AUDVIK_FAILING(int, poll, (pollfd * files, nfds_t count, int timeout), (files, count, timeout))
AUDVIK_FAILING(int, ppoll,
               (pollfd * files, nfds_t count, timespec const* timeout, sigset_t const* mask),
               (files, count, timeout, mask))
AUDVIK_FAILING(int, recvmmsg,
               (int file, mmsghdr* messages, unsigned count, int flags, timespec* timeout),
               (file, messages, count, flags, timeout))
AUDVIK_FAILING(int, sendmmsg, (int file, mmsghdr* messages, unsigned count, int flags),
               (file, messages, count, flags))

extern "C" int pthread_create(pthread_t* thread, pthread_attr_t const* attributes,
                              void* (*start)(void*), void* argument) {
    static auto* const next =
        real<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)>("pthread_create");
    return fails("pthread_create") ? wantedError : next(thread, attributes, start, argument);
}
