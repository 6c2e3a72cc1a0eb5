#include <algorithm>
#include <cstdio>
#include <memory>

#include "Client.h"
#include "ConnectionWatcher.h"
#include "errors.h"
#include "format.h"
#include "Heard.h"
#include "subcommands.h"

namespace sound::control {

namespace {

using Wanted = std::vector<reflection::Notification const*>;

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
    auto const heard = std::make_shared<tools::Heard>();
    tools::watchConnection();
    reflection::Client client;
    client.listen([heard](auto const& notification, tools::Json const& arguments) {
        heard->take(notification, arguments);
    });
    askFor(wanted, client);
    heard->waitFor(wanted, std::chrono::duration<double>(options.timeout));
    client.listen(nullptr);

    tools::Json document = tools::Json::object();
    for (auto const& [notification, line] : heard->all()) {
        bool const isWanted = wanted.empty() || std::erase(wanted, notification) > 0;
        if (!isWanted) continue;
        auto const& arguments = line["arguments"];
        document[std::string(notification->name)] = arguments;
        if (!options.json) std::puts(readableLine(*notification, arguments).c_str());
    }
    if (options.json)
        std::puts(document.dump(2, ' ', false, tools::Json::error_handler_t::replace).c_str());
    tools::requireService();
    if (!wanted.empty()) {
        throw tools::Failure("no " + std::string(wanted.front()->name) + " came within " +
                             tools::toText(options.timeout) + " s");
    }
}

}  // namespace sound::control
