#include "Heard.h"

#include <algorithm>

#include "message_json.h"

namespace tools {

void Heard::take(Notification const& notification, Json const& arguments) {
    constexpr std::size_t kMostToPassOn = 1000;
    auto line = notificationLine(notification, arguments);
    std::lock_guard const lock(mutex_);
    last_[&notification] = line;
    if (next_.size() < kMostToPassOn) {
        next_.emplace_back(&notification, std::move(line));
    } else {
        queueAll();
    }
    changed_.notify_all();
}

void Heard::forget() {
    std::lock_guard const lock(mutex_);
    last_.clear();
    queueAll();
}

void Heard::passAllOn() {
    std::lock_guard const lock(mutex_);
    queueAll();
}

void Heard::queueAll() {
    next_.clear();
    for (auto const& notification : sound::reflection::notifications()) {
        auto const known = last_.find(&notification);
        next_.emplace_back(&notification, known != last_.end() ? known->second : Json());
    }
}

std::optional<std::pair<Heard::Notification const*, Json>> Heard::next() {
    std::lock_guard const lock(mutex_);
    if (next_.empty()) return std::nullopt;
    auto next = std::move(next_.front());
    next_.pop_front();
    return next;
}

void Heard::waitFor(std::vector<Notification const*> const& wanted,
                    std::chrono::duration<double> time) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, time, [&] {
        return !wanted.empty() && std::all_of(wanted.begin(), wanted.end(),
                                              [this](auto each) { return last_.contains(each); });
    });
}

std::map<Heard::Notification const*, Json> Heard::all() {
    std::lock_guard const lock(mutex_);
    return last_;
}

}  // namespace tools
