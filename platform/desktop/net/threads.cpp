#include "threads.h"

#include <pthread.h>

#include <csignal>
#include <utility>

namespace desktop {

namespace {

// A thread inherits its creator's mask.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        // Raised by the thread itself, and for whoever wants to report a crash.
        for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) sigdelset(&all, fault);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;

private:
    sigset_t before_{};
};

}  // namespace

std::thread startThread(char const* name, std::function<void()> body) {
    SignalsBlocked const blocked;
    std::thread thread(std::move(body));
    pthread_setname_np(thread.native_handle(), name);
    return thread;
}

}  // namespace desktop
