#include "Player.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <span>
#include <system_error>
#include <thread>

#include "client_name.h"

namespace sound::service {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kMostOutstanding = 16;
/// A client that takes no block for so long loses its stream.
constexpr auto kPatience = 10s;
/// How long a withdrawn block is kept for a reader that found its path just before: were it closed
/// between that reader's finding and opening it, the reader would wait for a writer for ever.
constexpr auto kGrace = 50ms;

/// When to look again whether blocks were taken: soon when the next one waits for it.
constexpr auto kUrgentPoll = 100us;
constexpr auto kPoll = 5ms;
constexpr auto kIdlePoll = 60s;

}  // namespace

Player::Player(Sound sound, Settings settings)
    : sound_(std::move(sound)), settings_(settings), buffer_(settings.blockSize) {}

Player::~Player() {
    for (auto& [key, stream] : streams_) withdraw(stream.outstanding);
    if (!withdrawn_.empty()) std::this_thread::sleep_for(kGrace);
}

void Player::switchStream(frame::TransportInfo const& client, bool on) {
    std::scoped_lock const lock(mutex_);
    auto& stream = streams_[client.words];
    if (on && !stream.on) {
        withdraw(stream.outstanding);
        stream = Stream();
        stream.client = client;
        stream.start = Clock::now();
    }
    stream.on = on;
    hasChanged_ = true;
    changed_.notify_one();
}

void Player::forget(frame::TransportInfo const& client) {
    std::scoped_lock const lock(mutex_);
    auto const found = streams_.find(client.words);
    if (found == streams_.end()) return;
    withdraw(found->second.outstanding);
    streams_.erase(found);
}

void Player::run(std::stop_token const& stop, Announce const& announce) {
    std::unique_lock lock(mutex_);
    while (!stop.stop_requested()) {
        hasChanged_ = false;
        auto const next = serveAll(announce);
        changed_.wait_until(lock, stop, next, [this] { return hasChanged_; });
    }
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
    auto next = now + kIdlePoll;
    for (auto& [key, stream] : streams_) next = std::min(next, serve(stream, announce));
    std::erase_if(streams_, [](auto const& entry) {
        return !entry.second.on && entry.second.outstanding.empty();
    });
    return withdrawn_.empty() ? next : std::min(next, withdrawn_.front().first);
}

/// @return when it wants to be called again
Player::Clock::time_point Player::serve(Stream& stream, Announce const& announce) {
    auto const now = Clock::now();
    if (stream.outstanding.remove_if(std::mem_fn(&PipeBlock::isDrained)) > 0) {
        stream.lastProgress = now;
    }
    if (!stream.outstanding.empty() && now - stream.lastProgress >= kPatience) {
        end(stream, "it has taken no block for 10 s");
    }
    while (stream.on && !hasEnded(stream)) {
        auto const due = dueTime(stream);
        if (due > now) return std::min(due, now + (stream.outstanding.empty() ? kIdlePoll : kPoll));
        if (stream.outstanding.size() == kMostOutstanding || !sendBlock(stream, announce)) {
            return now + kUrgentPoll;
        }
    }
    return now + (stream.outstanding.empty() ? kIdlePoll : kPoll);
}

/// @return false when the block has to be tried again later
bool Player::sendBlock(Stream& stream, Announce const& announce) {
    auto const size = copyBlock(sound_, stream.position, buffer_);
    if (stream.outstanding.empty()) stream.lastProgress = Clock::now();
    try {
        auto const status = announceNext(stream, size, announce);
        // Later there is room again; or the client has left, and is about to be forgotten.
        if (status == -EAGAIN || status == -ENOTCONN) return false;
        if (status < 0) {
            end(stream, std::strerror(-status));
            return true;
        }
    } catch (std::system_error const& error) {
        end(stream, error.what());
        return true;
    }
    stream.position += size;
    return true;
}

/// Puts the first bytes of the buffer into a pipe and announces it.
/// @return what Announce returned; the block stays only when that is not negative
std::int32_t Player::announceNext(Stream& stream, std::size_t size, Announce const& announce) {
    Blocks block;
    block.emplace_back(directory_.path() + '/' + std::to_string(++blockNumber_),
                       std::span(buffer_).first(size));
    auto const status =
        announce(stream.client, block.front().path(), static_cast<std::uint32_t>(size));
    if (status >= 0) stream.outstanding.splice(stream.outstanding.end(), block);
    return status;
}

/// Ends a stream for a reason that its client did not ask for. It may start again.
void Player::end(Stream& stream, std::string const& reason) {
    std::fprintf(stderr, "sound-service: %s: %s; its stream is ended\n",
                 clientName(stream.client).c_str(), reason.c_str());
    withdraw(stream.outstanding);
    stream.on = false;
}

void Player::withdraw(Blocks& blocks) {
    if (blocks.empty()) return;
    for (auto& block : blocks) block.unlink();
    withdrawn_.emplace_back(Clock::now() + kGrace, std::move(blocks));
    blocks.clear();
}

}  // namespace sound::service
