#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <utility>

#include "errors.h"
#include "message_json.h"
#include "Step.h"
#include "subcommands.h"
#include "text_input.h"

namespace sound::control {

namespace {

/// They are all held in memory before the first is sent.
constexpr std::size_t kMostLines = 100'000;

struct Line {
    std::size_t number;
    Step step;
};

/// The value of a key, which is taken out of the object.
/// @throws tools::UsageError when it has another type
template <class Type>
Type take(tools::Json& object, char const* key, Type missing, char const* type) {
    if (!object.contains(key)) return missing;
    try {
        auto value = object[key].get<Type>();
        object.erase(key);
        return value;
    } catch (tools::Json::type_error const&) {
        throw tools::UsageError('"' + std::string(key) + "\" is " + tools::toText(object[key]) +
                                ", not a " + type);
    }
}

/// @return nothing for a line that asks for nothing: an empty one, or a logged notification
/// @throws tools::UsageError, tools::FieldError or a JSON exception that says what is wrong
std::optional<Step> readStep(std::string const& text) {
    if (text.find_first_not_of(" \t\r") == std::string::npos) return std::nullopt;
    tools::Json object = tools::parseJson(text);
    if (!object.is_object()) throw tools::UsageError("a line is an object like {\"command\": ...}");
    if (object.contains("notification")) return std::nullopt;
    // What a log says of a command besides.
    for (auto const* const key : {"time", "id", "client", "line"}) object.erase(key);
    auto const command = take<std::string>(object, "command", "", "string");
    if (command.empty()) throw tools::UsageError("\"command\" is missing, the command's name");
    auto const expected = take<std::string>(object, "expect", "", "string");
    Step step{&reflection::findCommand(command), {}};
    if (!expected.empty()) step.expected = &reflection::findNotification(expected);
    auto const timeout = take(object, "timeout", step.timeout.count(), "number");
    if (!(timeout >= 0 && timeout <= kLongestTimeout)) {
        throw tools::UsageError("\"timeout\" is not a number of seconds from 0 to a day");
    }
    step.timeout = std::chrono::duration<double>(timeout);
    step.request = reflection::requestFromJson(
        *step.command, take(object, "arguments", tools::Json::object(), "object"));
    if (!object.empty()) {
        throw tools::UsageError('"' + object.begin().key() +
                                "\" is none of command, arguments, expect, timeout");
    }
    return step;
}

/// Reads everything before anything is sent: a mistake must not leave half of it done.
std::vector<Line> readLines(std::istream& input, std::string const& path) {
    std::vector<Line> lines;
    std::string text;
    for (std::size_t number = 1;; ++number) {
        try {
            if (!tools::readLine(input, text)) return lines;
            auto step = readStep(text);
            if (!step) continue;
            if (lines.size() == kMostLines) {
                throw tools::UsageError("there are more than " + std::to_string(kMostLines) +
                                        " commands; send them in several batches");
            }
            lines.push_back({number, std::move(*step)});
        } catch (std::exception const& error) {
            throw tools::UsageError(path + ':' + std::to_string(number) + ": " + error.what());
        }
    }
}

void print(tools::Json answer, std::size_t number) {
    answer["line"] = number;
    std::puts(tools::toText(answer).c_str());
    std::fflush(stdout);
}

void runAll(std::istream& input, std::string const& path) {
    std::vector<Line> const lines = readLines(input, path);
    reflection::Client client;
    for (auto const& [number, step] : lines) {
        try {
            auto const answer = run(client, step);
            if (answer) print(tools::notificationLine(*step.expected, *answer), number);
        } catch (tools::Failure const& failure) {
            throw tools::Failure(path + ':' + std::to_string(number) + ": " + failure.what());
        }
    }
}

tools::Json answerTo(reflection::Client& client, Step const& step) {
    auto const answer = run(client, step);
    return answer ? tools::notificationLine(*step.expected, *answer)
                  : tools::messageLine("command", step.command->name, step.command->id,
                                       step.request.arguments);
}

void runEach(std::istream& input, std::string const& path) {
    reflection::Client client;
    std::size_t failures = 0;
    std::string text;
    for (std::size_t number = 1; tools::readLine(input, text); ++number) {
        try {
            auto const step = readStep(text);
            if (step) print(answerTo(client, *step), number);
        } catch (std::exception const& error) {
            tools::Json answer = tools::timedLine();
            answer["error"] = error.what();
            print(std::move(answer), number);
            ++failures;
        }
    }
    if (failures == 0) return;
    throw tools::Failure(path + ": lines that failed: " + std::to_string(failures) +
                         "; their answers say why");
}

}  // namespace

void batch(BatchOptions const& options) {
    auto* const runLines = options.stream ? &runEach : &runAll;
    if (options.path == "-") return runLines(std::cin, "standard input");
    std::ifstream file(options.path);
    if (!file) {
        throw tools::Failure(options.path + " cannot be read; it has to be a file of JSON lines");
    }
    runLines(file, options.path);
}

}  // namespace sound::control
