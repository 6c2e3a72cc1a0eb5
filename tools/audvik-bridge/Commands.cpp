#include "Commands.h"

#include <algorithm>
#include <functional>

#include "ConnectionWatcher.h"
#include "errors.h"
#include "message_json.h"

namespace reflection = sound::reflection;
using std::chrono::steady_clock;

namespace {

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
    for (auto const& notification : reflection::notifications()) {
        if (notification.command != command.name || notification.relation != "streams") continue;
        throw tools::UsageError("the bridge itself switches that; for sound, ask at audio/lease");
    }
    return reflection::requestFromJsonText(command, payload.empty() ? "{}" : payload);
}

}  // namespace

std::string Commands::take(std::string const& name, tools::MqttMessage const& message) {
    constexpr std::size_t kRemembered = 1000;
    auto const key = message.responseTopic + '\0' + message.correlation + '\0' + name +
                     std::to_string(std::hash<std::string>{}(message.payload));
    auto const earlier =
        std::ranges::find(answered_, key, &std::pair<std::string, std::string>::first);
    if (earlier != answered_.end()) return earlier->second;
    auto answer = tools::timedLine();
    try {
        auto const& command = reflection::findCommand(name);
        auto const request = read(command, message);
        send(command, request);
        answer = tools::messageLine("command", command.name, command.id, request.arguments);
        answer["status"] = 0;
    } catch (std::exception const& error) {
        answer["command"] = name;
        answer["error"] = error.what();
    }
    answer["set"] = set_;
    auto text = tools::toText(answer);
    if (answer.contains("error") || message.correlation.empty()) return text;
    answered_.emplace_back(key, text);
    if (answered_.size() > kRemembered) answered_.pop_front();
    return text;
}

void Commands::send(reflection::Command const& command, reflection::Request const& request) {
    constexpr std::chrono::seconds kRefusal{1};
    tools::requireService();
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
