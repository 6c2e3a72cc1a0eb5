#include <cstdio>

#include "errors.h"
#include "message_json.h"
#include "subcommands.h"

namespace sound::control {

namespace {

void print(reflection::Message const& message) {
    std::printf("%s  %s(%s)\n", tools::idText(message.id).c_str(),
                std::string(message.name).c_str(), std::string(message.arguments).c_str());
    if (message.valueCount == 0) return;
    std::printf("    %s", tools::describe(message.fields).c_str());
    std::printf(message.valueCount > 1 ? "; %zu values\n" : "\n", message.valueCount);
}

/// What the user's names file says: "    field2 volume, from 0 to 100, in %".
void printNotes(reflection::Message const& message) {
    for (auto const& [path, type, note] : reflection::namedFields(message)) {
        std::string text = "    " + path + ' ' + note->name;
        if (note->range) {
            text += ", from " + std::to_string(note->range->least) + " to " +
                    std::to_string(note->range->most);
        }
        if (!note->unit.empty()) text += ", in " + note->unit;
        std::puts(text.c_str());
    }
}

}  // namespace

void list(ListOptions const& options) {
    bool found = false;
    auto const take = [&](auto messages) {
        for (reflection::Message const& message : messages) {
            if (!message.nameContains(options.pattern)) continue;
            found = true;
            if (options.json) continue;
            print(message);
            printNotes(message);
        }
    };
    take(reflection::commands());
    take(reflection::notifications());
    if (!found) throw tools::Failure("no message has \"" + options.pattern + "\" in its name");
    if (options.json) std::puts(tools::describeInterface(options.pattern).dump(2).c_str());
}

}  // namespace sound::control
