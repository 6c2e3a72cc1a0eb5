#include "until_ended.h"

#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "ConnectionWatcher.h"
#include "program.h"
#include "service_address.h"

namespace sound::control {

namespace {

/// Says when the service comes and goes, until @p ending can be read or the reader of
/// standard output has gone.
void waitForEnd(int ending, AudioTrack* audio) {
    bool present = true;
    int const interval = audio != nullptr ? 20 : 500;  // in milliseconds
    std::array<pollfd, 2> watched{{{ending, POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    // Negative when the process was stopped and goes on.
    while (poll(watched.data(), watched.size(), interval) <= 0) {
        if (audio != nullptr) audio->write();
        if (tools::isConnected() == present) continue;
        present = !present;
        std::fprintf(stderr, "soundctl: %s sound service at %s%s\n", present ? "found the" : "no",
                     tools::serviceAddress().c_str(), present ? "" : "; waiting for it");
        if (audio != nullptr && present) audio->ask();
    }
}

/// While it lives.
class Listening {
public:
    Listening(reflection::Client& client, reflection::NotificationSink const& sink)
        : client_(client) {
        client_.listen(sink);
    }
    ~Listening() { client_.listen(nullptr); }
    Listening(Listening const&) = delete;
    Listening& operator=(Listening const&) = delete;

private:
    reflection::Client& client_;
};

}  // namespace

void listenUntilEnded(reflection::NotificationSink const& sink, AudioTrack* audio) {
    using Proxy = reflection::Client::Proxy;
    int const ending = tools::takeEndingSignals();
    tools::watchConnection(audio != nullptr ? audio->watcher() : nullptr);
    if (audio != nullptr) audio->start();
    reflection::Client client(audio != nullptr ? Proxy::kIsStarted : Proxy::kStart);
    Listening const listening(client, sink);
    if (audio != nullptr) audio->ask();
    waitForEnd(ending, audio);
}

}  // namespace sound::control
