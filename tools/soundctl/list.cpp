#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>

#include "errors.h"
#include "message_list.h"
#include "subcommands.h"

namespace sound::control {

namespace {

bool contains(std::string_view text, std::string_view pattern) {
    auto const sameLetter = [](unsigned char a, unsigned char b) {
        return std::tolower(a) == std::tolower(b);
    };
    return std::search(text.begin(), text.end(), pattern.begin(), pattern.end(), sameLetter) !=
           text.end();
}

void print(reflection::Message const& message) {
    std::printf("0x%08" PRIx32 "  %s(%s)\n", message.id, std::string(message.name).c_str(),
                std::string(message.arguments).c_str());
    if (message.valueCount == 0) return;
    std::printf("    %s", message.fields.c_str());
    std::printf(message.valueCount > 1 ? "; %zu values\n" : "\n", message.valueCount);
}

}  // namespace

void list(std::string const& pattern) {
    bool found = false;
    auto const printMatching = [&](auto messages) {
        for (reflection::Message const& message : messages) {
            if (!contains(message.name, pattern)) continue;
            print(message);
            found = true;
        }
    };
    printMatching(reflection::commands());
    printMatching(reflection::notifications());
    if (!found) throw tools::Failure("no message has \"" + pattern + "\" in its name");
}

}  // namespace sound::control
