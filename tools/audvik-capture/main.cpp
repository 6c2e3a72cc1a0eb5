#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>

#include "Options.h"
#include "Recording.h"

namespace {

/// Turns standard output over to the samples alone: the agent prints there.
/// @return the descriptor for the samples
int claimStandardOutput() {
    int const samples = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    int const nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
    return samples;
}

void handleStopSignals() {
    struct sigaction action {};
    action.sa_handler = [](int) { stopRecording(); };
    // Without SA_RESTART, so that a write that waits for its reader ends too.
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // A write's result tells of a reader that has gone and of a file that is too large.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace

int main(int argc, char** argv) {
    Options const options = readOptions(argc, argv);
    int const rawOutput = claimStandardOutput();
    handleStopSignals();
    try {
        // Signals are for this thread, not for those of the platform.
        sigset_t stopSignals;
        sigset_t before;
        sigemptyset(&stopSignals);
        sigaddset(&stopSignals, SIGINT);
        sigaddset(&stopSignals, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &stopSignals, &before);
        Recording recording(options, rawOutput);
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return recording.run() ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "audvik-capture: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
