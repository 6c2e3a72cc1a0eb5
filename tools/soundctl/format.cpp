#include "format.h"

namespace sound::control {

namespace {

void append(std::string& line, std::string const& path, tools::Json const& value) {
    if (!value.is_object()) {
        line += ' ' + path + '=' + tools::toText(value);
        return;
    }
    for (auto const& item : value.items()) {
        append(line, path.empty() ? item.key() : path + '.' + item.key(), item.value());
    }
}

}  // namespace

std::string readableLine(std::string_view notification, tools::Json const& arguments) {
    std::string line(notification);
    append(line, "", arguments);
    return line;
}

}  // namespace sound::control
