#include "program.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

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

sigset_t blockEndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    return signals;
}

}  // namespace tools
