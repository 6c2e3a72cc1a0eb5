#include "text_input.h"

#include <stdexcept>

namespace tools {

namespace {

void checkSize(std::string const& text, char const* what) {
    if (text.size() < kLongestText) return;
    throw std::runtime_error(std::string(what) + " has more than " + std::to_string(kLongestText) +
                             " bytes; nothing that is meant to be read here is so long");
}

}  // namespace

std::string readText(std::istream& input) {
    std::string text;
    for (char next = 0; input.get(next);) {
        checkSize(text, "the text");
        text += next;
    }
    return text;
}

bool readLine(std::istream& input, std::string& line) {
    line.clear();
    char next = 0;
    while (input.get(next) && next != '\n') {
        checkSize(line, "a line");
        line += next;
    }
    return !line.empty() || input.good();
}

}  // namespace tools
