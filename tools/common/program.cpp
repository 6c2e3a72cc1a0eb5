#include "program.h"

#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>

#include "errors.h"

namespace tools {

int runProgram(char const* name, std::function<void()> const& program) {
    constexpr int kUsageError = 2;
    int status = EXIT_FAILURE;
    try {
        program();
        return EXIT_SUCCESS;
    } catch (UsageError const& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
        status = kUsageError;
    } catch (std::exception const& error) {
        std::fprintf(stderr, "%s: %s\n", name, error.what());
    }
    return status;
}

int takeEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    int const ending = ::signalfd(-1, &signals, SFD_CLOEXEC);
    if (ending < 0) throw Failure(std::string("no signalfd: ") + std::strerror(errno));
    return ending;
}

}  // namespace tools
