#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

#include "format.h"
#include "message_json.h"
#include "subcommands.h"
#include "until_ended.h"

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

}  // namespace

void monitor(MonitorOptions const& options) {
    auto const& names = options.names;
    for (std::string const& name : names) reflection::findNotification(name);
    listenUntilEnded([&names, json = options.json](reflection::Notification const& notification,
                                                   tools::Json const& arguments) {
        if (names.empty() ||
            std::find(names.begin(), names.end(), notification.name) != names.end()) {
            print(json, notification, arguments);
        }
    });
}

}  // namespace sound::control
