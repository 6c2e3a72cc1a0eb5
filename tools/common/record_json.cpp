#include "record_json.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace tools {

namespace {

using Kind = FieldType::Kind;

Json toJson(Field const& field) {
    switch (field.type->kind) {
        case Kind::kRecord:
            return fieldsToJson(membersOf(field));
        case Kind::kArray: {
            Json array = Json::array();
            for (auto const& element : membersOf(field)) array.push_back(toJson(element));
            return array;
        }
        case Kind::kString:
            // Through its text, which replaces what is no UTF-8: nothing fails on it later.
            return Json::parse(toText(*static_cast<std::string const*>(field.address)));
        case Kind::kBool:
            return *static_cast<bool const*>(field.address);
        case Kind::kInteger:
            break;
    }
    return integerOf(field);
}

void membersFromJson(Json const& json, std::string const& path, Fields const& fields);

bool isInRange(Json const& json, Field const& integer) {
    auto const [least, most] = rangeOf(*integer.type, integer.note);
    if (json.is_number_unsigned()) {
        auto const value = json.get<std::uint64_t>();
        return std::cmp_greater_equal(value, least) && std::cmp_less_equal(value, most);
    }
    return json.is_number_integer() && json.get<std::int64_t>() >= least &&
           json.get<std::int64_t>() <= most;
}

void scalarFromJson(Json const& json, std::string const& path, Field const& field) {
    if (field.type->kind == Kind::kString && json.is_string()) {
        *static_cast<std::string*>(field.address) = json.get<std::string>();
    } else if (field.type->kind == Kind::kBool && json.is_boolean()) {
        *static_cast<bool*>(field.address) = json.get<bool>();
    } else if (field.type->kind == Kind::kInteger && isInRange(json, field)) {
        setInteger(field, json.get<std::int64_t>());
    } else {
        refuse(path, toText(json), acceptedValues(field));
    }
}

void fromJson(Json const& json, std::string const& path, Field const& field) {
    if (field.type->kind == Kind::kRecord) {
        membersFromJson(json, path, membersOf(field));
    } else if (field.type->kind == Kind::kArray) {
        if (!json.is_array() || json.size() > field.type->count) {
            refuse(path, toText(json),
                   "an array of at most " + std::to_string(field.type->count) + " values");
        }
        auto const elements = membersOf(field);
        for (std::size_t i = 0; i < json.size(); ++i) {
            fromJson(json[i], elementPath(path, i), elements[i]);
        }
    } else {
        scalarFromJson(json, path, field);
    }
}

void membersFromJson(Json const& json, std::string const& path, Fields const& fields) {
    if (!json.is_object()) refuse(path, toText(json), R"(an object like {"field1": ...})");
    for (auto const& item : json.items()) {
        std::size_t index = 0;
        while (index < fields.size() && item.key() != fieldName(index) &&
               item.key() != shownName(fields[index].note, index)) {
            ++index;
        }
        if (index < fields.size()) {
            fromJson(item.value(), memberPath(path, fields[index].note, index), fields[index]);
            continue;
        }
        throw FieldError((path.empty() ? "" : path + '.') + item.key() +
                         ": there is no such field, " +
                         (fields.empty()       ? "nor any other"
                          : fields.size() == 1 ? "only field1"
                                               : "only field1 to " + fieldName(fields.size() - 1)));
    }
}

/// The parser fails for a number beyond what a double holds before anybody knows which field it is
/// for. As the largest double it is refused with the field's name and range.
std::string withFiniteNumbers(std::string const& text) {
    std::string finite;
    bool inString = false;
    for (std::size_t i = 0; i < text.size();) {
        auto const end = std::min(text.find_first_not_of("0123456789.eE+-", i), text.size());
        if (inString || end == i) {
            if (text[i] == '"') inString = !inString;
            if (text[i] == '\\') finite += text[i++];
            if (i < text.size()) finite += text[i++];
            continue;
        }
        std::string const number = text.substr(i, end - i);
        bool const isInfinite = std::isinf(std::strtod(number.c_str(), nullptr));
        finite += !isInfinite ? number : number.front() == '-' ? "-1.7e308" : "1.7e308";
        i = end;
    }
    return finite;
}

}  // namespace

void refuse(std::string const& path, std::string const& value, std::string const& accepted) {
    constexpr std::size_t kShown = 40;
    throw FieldError((path.empty() ? "the arguments" : path) + ": " +
                     (value.size() > kShown ? value.substr(0, kShown) + "..." : value) +
                     " is not " + accepted);
}

Json parseJson(std::string const& text) {
    // The parser would take it for the end, whatever comes behind it.
    if (text.find('\0') != std::string::npos) {
        throw FieldError("there is a NUL byte in the JSON");
    }
    // Whatever handles a value calls itself for each level: without a limit the stack overflows.
    constexpr int kDeepest = 32;
    // An object looks through all its keys for each that it is given.
    constexpr int kMostKeys = 1000;
    std::array<int, kDeepest + 2> keys{};
    auto const check = [&keys](int depth, Json::parse_event_t event, Json& /*parsed*/) {
        if (depth > kDeepest) {
            throw FieldError("the JSON is nested more than " + std::to_string(kDeepest) +
                             " levels deep");
        }
        int& count = keys[static_cast<std::size_t>(depth)];
        if (event == Json::parse_event_t::object_end) keys[static_cast<std::size_t>(depth) + 1] = 0;
        if (event == Json::parse_event_t::key && ++count > kMostKeys) {
            throw FieldError("an object has more than " + std::to_string(kMostKeys) +
                             " keys; no message has so many fields");
        }
        return true;
    };
    try {
        return Json::parse(text, check);
    } catch (Json::out_of_range const&) {
        keys = {};
        return Json::parse(withFiniteNumbers(text), check);
    }
}

std::string toText(Json const& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json fieldsToJson(Fields const& fields) {
    Json object = Json::object();
    for (std::size_t i = 0; i < fields.size(); ++i) object[fieldName(i)] = toJson(fields[i]);
    return object;
}

void fieldsFromJson(Json const& json, Fields const& fields) {
    membersFromJson(json, "", fields);
}

}  // namespace tools
