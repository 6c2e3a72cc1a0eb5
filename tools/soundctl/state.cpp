#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>

#include "Client.h"
#include "ConnectionWatcher.h"
#include "errors.h"
#include "format.h"
#include "service_address.h"
#include "subcommands.h"

namespace sound::control {

namespace {

using Wanted = std::vector<reflection::Notification const*>;

/// The last of each notification that was heard. Thread-safe.
class Heard {
public:
    void take(reflection::Notification const& notification, tools::Json const& arguments) {
        std::lock_guard const lock(mutex_);
        arguments_[&notification] = arguments;
        changed_.notify_all();
    }

    /// Waits until all that are wanted have been heard; for the whole time when none is.
    void waitFor(Wanted const& wanted, std::chrono::duration<double> time) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, time, [&] {
            return !wanted.empty() &&
                   std::all_of(wanted.begin(), wanted.end(),
                               [this](auto const* each) { return arguments_.contains(each); });
        });
    }

    std::map<reflection::Notification const*, tools::Json> all() {
        std::lock_guard const lock(mutex_);
        return arguments_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<reflection::Notification const*, tools::Json> arguments_;
};

/// Sends the commands that do nothing but have a wanted notification sent.
void askFor(Wanted const& wanted, reflection::Client& client) {
    for (auto const* const notification : wanted) {
        if (notification->relation != "answers") continue;
        auto const& command = reflection::findCommand(notification->command);
        client.send(command, reflection::requestFromText(command, {}));
    }
}

}  // namespace

void state(StateOptions const& options) {
    Wanted wanted;
    for (auto const& name : options.names) wanted.push_back(&reflection::findNotification(name));
    auto const heard = std::make_shared<Heard>();
    tools::watchConnection();
    reflection::Client client;
    client.listen([heard](auto const& notification, tools::Json const& arguments) {
        heard->take(notification, arguments);
    });
    askFor(wanted, client);
    heard->waitFor(wanted, std::chrono::duration<double>(options.timeout));
    client.listen(nullptr);

    tools::Json document = tools::Json::object();
    for (auto const& [notification, arguments] : heard->all()) {
        bool const isWanted = wanted.empty() || std::erase(wanted, notification) > 0;
        if (!isWanted) continue;
        document[std::string(notification->name)] = arguments;
        if (!options.json) std::puts(readableLine(*notification, arguments).c_str());
    }
    if (options.json)
        std::puts(document.dump(2, ' ', false, tools::Json::error_handler_t::replace).c_str());
    if (!tools::isConnected())
        throw tools::Failure("no sound service at " + tools::serviceAddress());
    if (!wanted.empty()) {
        throw tools::Failure("no " + std::string(wanted.front()->name) + " came within " +
                             tools::toText(options.timeout) + " s");
    }
}

}  // namespace sound::control
