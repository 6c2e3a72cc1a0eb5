// A host under load, for script/soak: takes what is played, and sends commands from several threads
// as fast as they go, until SIGUSR2 or the end. Prints one JSON object at each of these, and at
// SIGUSR1; SIGTERM ends it.
//
// usage: soak-host THREADS [MILLISECONDS]     that the callback takes for a block; 0 if left out

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <boost/make_shared.hpp>
#include <chrono>
#include <cinttypes>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "audvik/audvik.h"
#include "sound/ClientInterfaceListener.h"

namespace {

using Clock = std::chrono::steady_clock;

/// The pace of the sound.
class Gaps {
public:
    explicit Gaps(std::chrono::milliseconds taking) : taking_(taking) {}

    void take() {
        std::this_thread::sleep_for(taking_);
        std::lock_guard const lock(mutex_);
        auto const now = Clock::now();
        ++blocks_;
        if (last_ != Clock::time_point()) {
            longest_ = std::max(longest_, std::chrono::duration<double>(now - last_).count());
        }
        last_ = now;
    }
    /// The longest since the last call.
    double longest() {
        std::lock_guard const lock(mutex_);
        return std::exchange(longest_, 0);
    }
    std::uint64_t blocks() {
        std::lock_guard const lock(mutex_);
        return blocks_;
    }

private:
    std::chrono::milliseconds const taking_;
    std::mutex mutex_;
    Clock::time_point last_;
    double longest_ = 0;
    std::uint64_t blocks_ = 0;
};

class Listener : public sound::ClientInterfaceListener {
public:
    Listener() : ClientInterfaceListener(nullptr, 0, 0) {}

    std::int32_t onMuteInfoNotify(frame::MsgIds& /*msgIds*/,
                                  frame::TransportInfo const& /*transportInfo*/,
                                  sound::soundMuteInfo_t const& /*info*/) override {
        ++notifications;
        return 0;
    }

    std::atomic<std::uint64_t> notifications = 0;
};

void onAudio(unsigned char const* /*data*/, std::int32_t /*size*/, void* gaps) {
    static_cast<Gaps*>(gaps)->take();
}

int run(int threads, std::chrono::milliseconds taking) {
    sigset_t signals;
    sigemptyset(&signals);
    for (int const number : {SIGTERM, SIGINT, SIGUSR1, SIGUSR2}) sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);

    // The library prints a line there, too.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    static Gaps gaps(taking);
    if (audioCB_init(0, nullptr) < 0) return 1;
    auto const listener = boost::make_shared<Listener>();
    listener->setSelfReference(listener);
    if (listener->init() < 0 || set_audioCallback(1, &onAudio, &gaps) < 0) return 1;

    std::atomic<bool> done = false;
    std::atomic<std::uint64_t> sent = 0;
    std::atomic<std::uint64_t> refused = 0;
    std::vector<std::thread> senders;
    senders.reserve(static_cast<std::size_t>(threads));
    for (int i = 0; i < threads; ++i) {
        senders.emplace_back([&] {
            while (!done) {
                frame::MsgIds msgIds = frame::MsgIds::none;
                auto const status = listener->getSrvIf()->cmdMuteSet(msgIds, {}, {});
                ++(status < 0 ? refused : sent);
            }
        });
    }
    auto const report = [&] {
        std::printf("{\"sent\": %" PRIu64 ", \"refused\": %" PRIu64 ", \"notifications\": %" PRIu64
                    ", \"blocks\": %" PRIu64 ", \"longest_gap\": %.3f}\n",
                    sent.load(), refused.load(), listener->notifications.load(), gaps.blocks(),
                    gaps.longest());
        std::fflush(stdout);
    };
    auto const endSending = [&] {
        done = true;
        for (auto& sender : senders) sender.join();
        senders.clear();
    };
    int received = 0;
    while (sigwait(&signals, &received) == 0 && (received == SIGUSR1 || received == SIGUSR2)) {
        if (received == SIGUSR2) endSending();
        report();
    }
    endSending();
    report();
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fputs("usage: soak-host THREADS [MILLISECONDS]\n", stderr);
        return 2;
    }
    return run(static_cast<int>(std::strtol(argv[1], nullptr, 10)),
               std::chrono::milliseconds(argc == 3 ? std::strtol(argv[2], nullptr, 10) : 0));
}
