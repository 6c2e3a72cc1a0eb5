#include "format.h"

namespace sound::control {

namespace {

using Types = std::vector<tools::FieldType const*>;

void append(std::string& line, std::string const& path, std::string_view record, Types const& types,
            tools::Json const& fields) {
    for (std::size_t i = 0; i < types.size(); ++i) {
        auto const name = tools::memberPath(path, tools::noteOf(record, i), i);
        auto const& value = fields.at(tools::fieldName(i));
        if (types[i]->kind == tools::FieldType::Kind::kRecord) {
            append(line, name, types[i]->name, tools::memberTypes(*types[i]), value);
        } else {
            line += ' ' + name + '=' + tools::toText(value);
        }
    }
}

}  // namespace

std::string readableLine(reflection::Message const& notification, tools::Json const& arguments) {
    std::string line(notification.name);
    append(line, "", notification.record, notification.fields, arguments);
    return line;
}

}  // namespace sound::control
