#include <algorithm>
#include <cstdio>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "errors.h"
#include "format.h"
#include "session.h"
#include "subcommands.h"

namespace sound::control {

namespace {

struct Entry {
    double at;
    std::string text;  ///< of the message; two that are the same have the same
    bool isCommon = false;
};

std::string textOf(tools::SessionMessage const& message) {
    auto const known = reflection::notifications();
    auto const found = std::find_if(known.begin(), known.end(), [&message](auto const& each) {
        return each.name == message.name;
    });
    if (found == known.end()) return message.name + ' ' + tools::toText(message.arguments);
    return readableLine(*found, message.arguments);
}

std::vector<Entry> readEntries(std::string const& path) {
    std::vector<Entry> entries;
    for (auto const& message : tools::readSession(path).messages) {
        entries.push_back({message.at, textOf(message)});
    }
    return entries;
}

/// By how much later things happened in @p second: by the first message that both have.
double delay(std::vector<Entry> const& first, std::vector<Entry> const& second) {
    std::map<std::string_view, double> times;
    for (auto const& entry : second) times.emplace(entry.text, entry.at);
    for (auto const& entry : first) {
        if (auto const found = times.find(entry.text); found != times.end()) {
            return found->second - entry.at;
        }
    }
    return 0;
}

/// Finds what both have at the same time, to a tolerance.
/// @return how many there are
std::size_t findCommon(std::vector<Entry>& first, std::vector<Entry>& second, double tolerance) {
    double const offset = delay(first, second);
    std::map<std::string_view, std::deque<Entry*>> waiting;
    for (auto& entry : second) waiting[entry.text].push_back(&entry);
    std::size_t common = 0;
    for (auto& entry : first) {
        auto& candidates = waiting[entry.text];
        double const expected = entry.at + offset;
        while (!candidates.empty() && candidates.front()->at < expected - tolerance) {
            candidates.pop_front();
        }
        if (candidates.empty() || candidates.front()->at > expected + tolerance) continue;
        entry.isCommon = candidates.front()->isCommon = true;
        candidates.pop_front();
        ++common;
    }
    return common;
}

/// @return how many there are
std::size_t printOthers(char sign, std::vector<Entry> const& entries) {
    std::size_t count = 0;
    for (auto const& entry : entries) {
        if (entry.isCommon) continue;
        std::printf("%c %.3f %s\n", sign, entry.at, entry.text.c_str());
        ++count;
    }
    return count;
}

}  // namespace

void diff(DiffOptions const& options) {
    auto first = readEntries(options.first);
    auto second = readEntries(options.second);
    auto const common = findCommon(first, second, options.tolerance);
    auto const onlyFirst = printOthers('-', first);
    auto const onlySecond = printOthers('+', second);
    if (onlyFirst + onlySecond == 0) return;
    throw tools::Failure("the sessions differ: " + std::to_string(common) +
                         " messages in common, " + std::to_string(onlyFirst) + " only in " +
                         options.first + ", " + std::to_string(onlySecond) + " only in " +
                         options.second);
}

}  // namespace sound::control
