#include "start_agent.h"

#include <pthread.h>

#include <atomic>
#include <csignal>

#include "service_address.h"

namespace sound::python {

namespace {

std::atomic<bool> started = false;

/// Signals are for Python's threads, not for those of the platform, which inherit this.
class NoSignals {
public:
    NoSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    NoSignals(NoSignals const&) = delete;
    NoSignals& operator=(NoSignals const&) = delete;

private:
    sigset_t before_;
};

}  // namespace

tools::SoundSource& startAgent() {
    // The agent overwrites what the environment said, but not this.
    if (!started.exchange(true)) tools::useServiceAddress(tools::serviceAddress());
    NoSignals const quiet;
    return tools::SoundSource::start({});
}

bool agentHasStarted() {
    return started;
}

}  // namespace sound::python
