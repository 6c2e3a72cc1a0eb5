#include <cstdio>
#include <fstream>
#include <iostream>
#include <utility>

#include "errors.h"
#include "format.h"
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

/// @throws tools::UsageError, tools::FieldError or a JSON exception that says what is wrong
Step readStep(std::string const& text) {
    tools::Json object = tools::parseJson(text);
    if (!object.is_object()) throw tools::UsageError("a line is an object like {\"command\": ...}");
    auto const command = take<std::string>(object, "command", "", "string");
    if (command.empty()) throw tools::UsageError("\"command\" is missing, the command's name");
    auto const expected = take<std::string>(object, "expect", "", "string");
    Step step{&reflection::findCommand(command), nullptr};
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
            if (text.find_first_not_of(" \t\r") == std::string::npos) continue;
            if (lines.size() == kMostLines) {
                throw tools::UsageError("there are more than " + std::to_string(kMostLines) +
                                        " commands; send them in several batches");
            }
            lines.push_back({number, readStep(text)});
        } catch (std::exception const& error) {
            throw tools::UsageError(path + ':' + std::to_string(number) + ": " + error.what());
        }
    }
}

std::vector<Line> readFile(std::string const& path) {
    if (path == "-") return readLines(std::cin, "standard input");
    std::ifstream file(path);
    if (!file) throw tools::Failure(path + " cannot be read; it has to be a file of JSON lines");
    return readLines(file, path);
}

}  // namespace

void batch(std::string const& path) {
    std::vector<Line> const lines = readFile(path);
    Client client;
    for (Line const& line : lines) {
        try {
            auto const answer = run(client, line.step);
            if (!answer) continue;
            std::puts(tools::toText(jsonLine(line.step.expected->name, *answer)).c_str());
            std::fflush(stdout);
        } catch (tools::Failure const& failure) {
            throw tools::Failure(path + ':' + std::to_string(line.number) + ": " + failure.what());
        }
    }
}

}  // namespace sound::control
