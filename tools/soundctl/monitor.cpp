#include <poll.h>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "Client.h"
#include "ConnectionWatcher.h"
#include "errors.h"
#include "format.h"
#include "message_json.h"
#include "service_address.h"
#include "subcommands.h"

namespace sound::control {

namespace {

std::string printedTime(std::chrono::system_clock::time_point time) {
    std::time_t const seconds = std::chrono::system_clock::to_time_t(time);
    auto const milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(milliseconds % 1000));
    return text.data();
}

void print(bool json, reflection::Notification const& notification, tools::Json const& arguments) {
    std::string const line = json ? tools::toText(tools::notificationLine(notification, arguments))
                                  : printedTime(std::chrono::system_clock::now()) + ' ' +
                                        readableLine(notification, arguments);
    std::puts(line.c_str());
    std::fflush(stdout);
}

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
        if (isConnected() == present) continue;
        present = !present;
        std::fprintf(stderr, "soundctl: %s sound service at %s%s\n", present ? "found the" : "no",
                     tools::serviceAddress().c_str(), present ? "" : "; waiting for it");
    }
}

}  // namespace

void monitor(MonitorOptions const& options) {
    auto const& names = options.names;
    for (std::string const& name : names) reflection::findNotification(name);
    // Blocked in every thread, for this one to wait for.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    watchConnection();
    Client client;
    client.listen([&names, json = options.json](reflection::Notification const& notification,
                                                tools::Json const& arguments) {
        if (names.empty() ||
            std::find(names.begin(), names.end(), notification.name) != names.end()) {
            print(json, notification, arguments);
        }
    });
    waitForEnd(signals);
    client.listen(nullptr);
}

}  // namespace sound::control
