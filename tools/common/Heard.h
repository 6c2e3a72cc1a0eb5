#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "message_list.h"

namespace tools {

/// The last of each notification that was heard, and for those who pass them on what they have not
/// passed on yet: all in order, or when these become too many, the last of each. Thread-safe.
class Heard {
public:
    using Notification = sound::reflection::Notification;

    void take(Notification const& notification, Json const& arguments);

    /// What was heard does not hold any more.
    void forget();

    /// Whoever passes them on begins anew.
    void passAllOn();

    /// @return the next notification to pass on, and its line; null when it does not hold any more
    std::optional<std::pair<Notification const*, Json>> next();

    /// Waits until all that are wanted have been heard; for the whole time when none is.
    void waitFor(std::vector<Notification const*> const& wanted,
                 std::chrono::duration<double> time);

    /// @return a line for each, with its time
    std::map<Notification const*, Json> all();

private:
    void queueAll();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<Notification const*, Json> last_;
    std::deque<std::pair<Notification const*, Json>> next_;
};

}  // namespace tools
