#include "Player.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <span>
#include <system_error>
#include <thread>
#include <utility>

#include "desktop/Service.h"

namespace sound::service {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostPipes = 16;  // for each stream
/// So many are made before it is looked whether one has become free, which costs a system call.
constexpr std::size_t kFirstPipes = 4;
/// When to try again what failed for want of something that may come back.
constexpr auto kRetry = 100ms;
constexpr auto kAnnounceRetry = 20ms;
constexpr auto kIdle = 60s;

}  // namespace

Player::Player(Sound sound, Settings settings, PipeFolder& folder)
    : sound_(std::move(sound)),
      settings_(settings),
      folder_(folder),
      wakeUp_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      buffer_(settings.blockSize) {
    if (wakeUp_ < 0) throw std::system_error(errno, std::generic_category(), "cannot play");
}

Player::~Player() {
    try {
        for (auto& [key, stream] : streams_) withdraw(stream);
    } catch (std::bad_alloc const&) {
        // Then the pipes are closed without a grace.
    }
    if (!withdrawn_.empty()) std::this_thread::sleep_for(kOpeningGrace);
    ::close(wakeUp_);
}

void Player::switchStream(frame::TransportInfo const& client, bool on) {
    std::scoped_lock const lock(mutex_);
    auto& stream = streams_[client.words];
    stream.client = client;
    if (on && !stream.on) {
        stream.position = 0;
        stream.start = Clock::now();
        stream.retryAt = {};
        stream.troubleReported = false;
    }
    stream.on = on;
    wake();
}

void Player::forget(frame::TransportInfo const& client) {
    std::scoped_lock const lock(mutex_);
    auto const found = streams_.find(client.words);
    if (found == streams_.end()) return;
    withdraw(found->second);
    streams_.erase(found);
    wake();
}

void Player::run(std::stop_token const& stop, Announce const& announce) {
    std::stop_callback const stopped(stop, [this] { wake(); });
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        auto next = Clock::now() + kRetry;
        try {
            next = serveAll(announce);
        } catch (std::bad_alloc const&) {
            std::fputs("sound-service: memory ran out; playing goes on when there is some\n",
                       stderr);
        }
        lock.unlock();
        wait(next);
        lock.lock();
    }
}

void Player::wake() const {
    ::eventfd_write(wakeUp_, 1);
}

/// Without the lock. Readers are only waited for when a stream cannot go on without: in real time
/// the next block is what wakes it.
void Player::wait(Clock::time_point until) {
    auto const left = std::max(until - Clock::now(), Clock::duration::zero());
    auto const seconds = std::chrono::floor<std::chrono::seconds>(left);
    timespec const timeout{static_cast<time_t>(seconds.count()),
                           static_cast<long>(std::chrono::nanoseconds(left - seconds).count())};
    std::array<pollfd, 2> events{{{wakeUp_, POLLIN, 0}, {folder_.closings(), POLLIN, 0}}};
    ::ppoll(events.data(), waitsForReaders_ ? 2 : 1, &timeout, nullptr);
    if ((events[0].revents & POLLIN) == 0) return;
    eventfd_t times;
    ::eventfd_read(wakeUp_, &times);
}

bool Player::hasEnded(Stream const& stream) const {
    return sound_.length && stream.position >= *sound_.length;
}

Player::Clock::time_point Player::dueTime(Stream const& stream) const {
    if (settings_.fast) return stream.start;
    std::chrono::duration<double> const played(static_cast<double>(stream.position) /
                                               static_cast<double>(sound_.bytesPerSecond()));
    return stream.start + std::chrono::duration_cast<Clock::duration>(played);
}

/// @return when it wants to be called again
Player::Clock::time_point Player::serveAll(Announce const& announce) {
    auto const now = Clock::now();
    while (!withdrawn_.empty() && withdrawn_.front().first <= now) withdrawn_.pop_front();
    if (waitsForReaders_) takeClosedPipes();
    waitsForReaders_ = false;
    auto next = now + kIdle;
    for (auto& [key, stream] : streams_) next = std::min(next, serve(stream, announce));
    std::erase_if(streams_, [](auto const& entry) {
        return !entry.second.on && entry.second.announced.empty();
    });
    return withdrawn_.empty() ? next : std::min(next, withdrawn_.front().first);
}

/// @return when it wants to be called again
Player::Clock::time_point Player::serve(Stream& stream, Announce const& announce) {
    auto const now = Clock::now();
    auto next = now + kIdle;
    while (stream.on && !hasEnded(stream)) {
        auto const due = std::max(dueTime(stream), stream.retryAt);
        if (due > now) {
            next = due;
            break;
        }
        if (!findFreePipe(stream)) {
            if (stream.retryAt > now) continue;
            waitsForReaders_ = true;
            break;
        }
        sendBlock(stream, announce);
    }
    if (stream.announced.empty()) return next;
    if (now - stream.lastProgress >= settings_.patience) takeClosedPipes();
    if (!stream.announced.empty() && now - stream.lastProgress >= settings_.patience) {
        char reason[64];
        std::snprintf(reason, sizeof reason, "it has taken no block for %g s",
                      std::chrono::duration<double>(settings_.patience).count());
        end(stream, reason);
        return now + kOpeningGrace;
    }
    return std::min(next, std::max(stream.lastProgress + settings_.patience, now));
}

/// Has a pipe at the front of the free ones.
/// @return false when there is none, for now
bool Player::findFreePipe(Stream& stream) {
    if (!stream.free.empty()) return true;
    if (stream.announced.size() >= kFirstPipes) takeClosedPipes();
    if (!stream.free.empty()) return true;
    if (stream.announced.size() >= kMostPipes) return false;
    try {
        stream.free.emplace_front(folder_.path() + '/' + std::to_string(++pipeNumber_),
                                  settings_.blockSize);
        return true;
    } catch (std::system_error const& error) {
        if (!std::exchange(stream.troubleReported, true)) {
            std::fprintf(stderr, "sound-service: %s: %s; it is tried again\n",
                         desktop::clientName(stream.client).c_str(), error.what());
        }
        retryLater(stream, kRetry);
        return false;
    }
}

/// Frees the pipes whose readers have closed them.
void Player::takeClosedPipes() {
    bool const complete = folder_.takeClosings([this](std::string const& name) {
        auto const path = folder_.path() + '/' + name;
        for (auto& [key, stream] : streams_) {
            auto const pipe =
                std::find_if(stream.announced.begin(), stream.announced.end(),
                             [&path](auto const& candidate) { return candidate.path() == path; });
            if (pipe != stream.announced.end()) return free(stream, pipe);
        }
    });
    if (complete) return;
    // Whose reader may have closed it or not, when nobody has told, is not used again.
    for (auto& [key, stream] : streams_) {
        if (stream.announced.remove_if(std::mem_fn(&Pipe::isEmpty)) > 0) {
            stream.lastProgress = Clock::now();
        }
    }
}

void Player::free(Stream& stream, Pipes::iterator pipe) {
    pipe->drain();
    stream.free.splice(stream.free.begin(), stream.announced, pipe);
    stream.lastProgress = Clock::now();
}

void Player::retryLater(Stream& stream, Clock::duration delay) {
    stream.retryAt = Clock::now() + delay;
}

std::int32_t Player::tryToAnnounce(Announce const& announce, frame::TransportInfo const& client,
                                   Pipe const& pipe, std::size_t size) {
    try {
        return announce(client, pipe.path(), static_cast<std::uint32_t>(size));
    } catch (std::bad_alloc const&) {
        return -ENOMEM;
    }
}

/// Puts the next block into the first free pipe and announces it, or has that tried again later.
void Player::sendBlock(Stream& stream, Announce const& announce) {
    auto const size = copyBlock(sound_, stream.position, buffer_);
    if (stream.announced.empty()) stream.lastProgress = Clock::now();
    auto const pipe = stream.free.begin();
    try {
        pipe->put(std::span(buffer_).first(size));
    } catch (std::system_error const& error) {
        end(stream, error.what());
        return;
    }
    auto const status = tryToAnnounce(announce, stream.client, *pipe, size);
    if (status >= 0) {
        stream.announced.splice(stream.announced.end(), stream.free, pipe);
        stream.position += size;
        return;
    }
    pipe->drain();
    if (status == -EAGAIN || status == -ENOMEM) {
        retryLater(stream, kAnnounceRetry);
    } else if (status == -ENOTCONN) {
        stream.on = false;  // it has left, and is about to be forgotten
    } else {
        end(stream, std::strerror(-status));
    }
}

/// Ends a stream for a reason that its client did not ask for. It may start again.
void Player::end(Stream& stream, std::string const& reason) {
    std::fprintf(stderr, "sound-service: %s: %s; its stream is ended\n",
                 desktop::clientName(stream.client).c_str(), reason.c_str());
    withdraw(stream);
    stream.on = false;
}

void Player::withdraw(Stream& stream) {
    Pipes pipes;
    pipes.splice(pipes.end(), stream.announced);
    stream.free.clear();
    if (pipes.empty()) return;
    for (auto& pipe : pipes) pipe.unlink();
    withdrawn_.emplace_back(Clock::now() + kOpeningGrace, std::move(pipes));
}

}  // namespace sound::service
