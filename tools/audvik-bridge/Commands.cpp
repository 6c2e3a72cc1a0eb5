#include "Commands.h"

#include <algorithm>
#include <functional>

#include "ConnectionWatcher.h"
#include "errors.h"
#include "message_json.h"
#include "service_address.h"

namespace reflection = sound::reflection;
using std::chrono::steady_clock;

namespace {

bool switchesStream(reflection::Command const& command) {
    auto const all = reflection::notifications();
    return std::any_of(all.begin(), all.end(), [&](auto const& notification) {
        return notification.relation == "streams" && notification.command == command.name;
    });
}

/// @throws std::exception that says what is wrong
reflection::Request read(reflection::Command const& command, tools::MqttMessage const& message) {
    constexpr std::size_t kLargestPayload = 64 << 10;
    constexpr std::size_t kLongestCorrelation = 128;
    auto const& payload = message.payload;
    if (payload.size() > kLargestPayload || message.correlation.size() > kLongestCorrelation) {
        throw tools::UsageError(
            "the payload has " + std::to_string(payload.size()) + " bytes, the correlation data " +
            std::to_string(message.correlation.size()) + "; taken are at most " +
            std::to_string(kLargestPayload) + " and " + std::to_string(kLongestCorrelation));
    }
    if (switchesStream(command)) {
        throw tools::UsageError("the bridge itself switches that; for sound, ask at audio/lease");
    }
    try {
        return reflection::requestFromJson(
            command, payload.empty() ? tools::Json::object() : tools::parseJson(payload));
    } catch (tools::Json::parse_error const& error) {
        throw tools::UsageError(std::string("the payload is no JSON: ") + error.what());
    }
}

}  // namespace

std::string Commands::take(std::string const& name, tools::MqttMessage const& message) {
    constexpr std::size_t kRemembered = 1000;
    auto const key = message.responseTopic + '\0' + message.correlation + '\0' + name +
                     std::to_string(std::hash<std::string>{}(message.payload));
    auto const earlier = std::find_if(answered_.rbegin(), answered_.rend(),
                                      [&key](auto const& each) { return each.first == key; });
    if (earlier != answered_.rend()) return earlier->second;
    auto answer = tools::timedLine();
    answer["set"] = set_;
    answer["command"] = name;
    try {
        auto const& command = reflection::findCommand(name);
        auto const request = read(command, message);
        send(command, request);
        answer["id"] = tools::idText(command.id);
        answer["arguments"] = request.arguments;
        answer["status"] = 0;
    } catch (std::exception const& error) {
        answer["error"] = error.what();
        return tools::toText(answer);
    }
    if (message.correlation.empty()) return tools::toText(answer);
    answered_.emplace_back(key, tools::toText(answer));
    if (answered_.size() > kRemembered) answered_.pop_front();
    return answered_.back().second;
}

void Commands::send(reflection::Command const& command, reflection::Request const& request) {
    constexpr std::chrono::seconds kRefusal{1};
    if (!tools::isConnected()) {
        throw tools::Failure("no sound service at " + tools::serviceAddress());
    }
    if (steady_clock::now() < refusedUntil_) {
        throw tools::Failure("the sound service takes no more at the moment; send fewer at a time");
    }
    try {
        client_.send(command, request);
    } catch (tools::Failure const&) {
        refusedUntil_ = steady_clock::now() + kRefusal;
        throw;
    }
}
