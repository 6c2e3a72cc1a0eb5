#include "until_ended.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "ConnectionWatcher.h"
#include "errors.h"
#include "program.h"
#include "service_address.h"

namespace sound::control {

namespace {

/// Says when the service comes and goes, until one of the signals arrives or the reader of
/// standard output has gone.
void waitForEnd(sigset_t const& signals) {
    bool present = true;
    constexpr int kInterval = 500;  // in milliseconds
    std::array<pollfd, 2> watched{
        {{signalfd(-1, &signals, SFD_CLOEXEC), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    if (watched[0].fd < 0) throw tools::Failure(std::string("no signalfd: ") + strerror(errno));
    // Negative when the process was stopped and goes on.
    while (poll(watched.data(), watched.size(), kInterval) <= 0) {
        if (tools::isConnected() == present) continue;
        present = !present;
        std::fprintf(stderr, "soundctl: %s sound service at %s%s\n", present ? "found the" : "no",
                     tools::serviceAddress().c_str(), present ? "" : "; waiting for it");
    }
}

}  // namespace

void listenUntilEnded(reflection::NotificationSink const& sink) {
    auto const signals = tools::blockEndingSignals();
    tools::watchConnection();
    reflection::Client client;
    client.listen(sink);
    waitForEnd(signals);
    client.listen(nullptr);
}

}  // namespace sound::control
