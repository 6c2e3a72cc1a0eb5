// Preloaded into a program: makes one call of a function fail. script/faults says which.
//
//   AUDVIK_FAIL=malloc:7:12    the 7th call of malloc() fails with errno 12
//
// Calls are counted from the moment when the program opens /audvik-faults-begin, which never works,
// or, with AUDVIK_FAIL_FROM_SOCKET, when it makes its first socket. How many there were is written
// to AUDVIK_FAIL_COUNT at the end.

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

std::atomic<bool> counting = false;
bool fromSocket = false;
std::atomic<long> calls = 0;
char wantedName[32];
long wantedCall = 0;
int wantedError = 0;

__attribute__((constructor)) void readWish() {
    char const* const wish = std::getenv("AUDVIK_FAIL");
    if (wish != nullptr) std::sscanf(wish, "%31[^:]:%ld:%d", wantedName, &wantedCall, &wantedError);
    fromSocket = std::getenv("AUDVIK_FAIL_FROM_SOCKET") != nullptr;
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

// The real one is looked up when the program begins: the look-up may allocate.
#define AUDVIK_FAILING(RESULT, NAME, PARAMETERS, ARGUMENTS, FAILURE)         \
    extern "C" RESULT NAME PARAMETERS {                                      \
        static auto* const next = real<RESULT PARAMETERS>(#NAME);            \
        return fails(#NAME) ? static_cast<RESULT>(FAILURE) : next ARGUMENTS; \
    }

extern "C" void* __libc_malloc(std::size_t size);

extern "C" void* malloc(std::size_t size) {
    return fails("malloc") ? nullptr : __libc_malloc(size);
}

extern "C" int open(char const* path, int flags, ...) {
    if (std::strcmp(path, "/audvik-faults-begin") == 0) {
        counting = true;
        errno = ENOENT;
        return -1;
    }
    static auto* const next = real<int(char const*, int, ...)>("open");
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return fails("open") ? -1 : next(path, flags, mode);
}

AUDVIK_FAILING(ssize_t, read, (int file, void* data, std::size_t size), (file, data, size), -1)
AUDVIK_FAILING(ssize_t, write, (int file, void const* data, std::size_t size), (file, data, size),
               -1)

extern "C" int socket(int domain, int type, int protocol) {
    static auto* const next = real<int(int, int, int)>("socket");
    if (fromSocket) counting = true;
    return fails("socket") ? -1 : next(domain, type, protocol);
}

AUDVIK_FAILING(int, mkfifo, (char const* path, mode_t mode), (path, mode), -1)
AUDVIK_FAILING(int, poll, (pollfd * files, nfds_t count, int timeout), (files, count, timeout), -1)
AUDVIK_FAILING(int, ppoll,
               (pollfd * files, nfds_t count, timespec const* timeout, sigset_t const* mask),
               (files, count, timeout, mask), -1)
AUDVIK_FAILING(int, recvmmsg,
               (int file, mmsghdr* messages, unsigned count, int flags, timespec* timeout),
               (file, messages, count, flags, timeout), -1)
AUDVIK_FAILING(int, sendmmsg, (int file, mmsghdr* messages, unsigned count, int flags),
               (file, messages, count, flags), -1)

extern "C" int pthread_create(pthread_t* thread, pthread_attr_t const* attributes,
                              void* (*start)(void*), void* argument) {
    static auto* const next =
        real<int(pthread_t*, pthread_attr_t const*, void* (*)(void*), void*)>("pthread_create");
    return fails("pthread_create") ? wantedError : next(thread, attributes, start, argument);
}
