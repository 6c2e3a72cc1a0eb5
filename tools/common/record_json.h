/// @file
/// Records and message arguments as JSON: {"field1": 1, "field2": [1, 2], "field3": {...}}.
#pragma once

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <tuple>

#include "fields.h"

namespace tools {

using Json = nlohmann::ordered_json;

/// A value that a field does not accept. Names the field, the value, the type and its range.
class FieldError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// @throws FieldError "path: value is not accepted"
[[noreturn]] void refuse(std::string const& path, std::string const& value,
                         std::string const& accepted);

/// @throws Json::parse_error when the text is no JSON
/// @throws FieldError when it is nested so deeply that no message can be meant
Json parseJson(std::string const& text);

/// A value as text on one line, for messages and output: bytes that are no UTF-8 are replaced.
std::string toText(Json const& value);

/// An object with one member per field.
Json fieldsToJson(Fields const& fields);

/// Sets fields from such an object; what it does not mention stays as it is.
/// @throws FieldError for an unknown field, a wrong type or a value out of range
void fieldsFromJson(Json const& json, Fields const& fields);

/// The arguments of a message as one object: a lone record is its own object, bare arguments are
/// its field1, field2 and so on, and no argument is {}.
template <class... Types>
Json argumentsToJson(Types const&... arguments) {
    return fieldsToJson(fieldsOf(arguments...));
}

/// The reverse. Fields, and elements at an array's end, that are missing are zero or empty.
/// @throws FieldError as fieldsFromJson()
template <class... Types>
std::tuple<Types...> argumentsFromJson(Json const& json) {
    std::tuple<Types...> arguments{};
    fieldsFromJson(json,
                   std::apply([](auto const&... each) { return fieldsOf(each...); }, arguments));
    return arguments;
}

}  // namespace tools
