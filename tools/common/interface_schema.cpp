#include "interface_schema.h"

#include <string>

#include "message_json.h"

namespace tools {

namespace {

Json schemaOf(Json const& field, Json& definitions);

Json objectOf(Json const& fields, Json& definitions) {
    Json properties = Json::object();
    for (auto const& field : fields) {
        properties[field["name"].get<std::string>()] = schemaOf(field, definitions);
    }
    return {
        {"type", "object"}, {"properties", std::move(properties)}, {"additionalProperties", false}};
}

/// What most integers have in common is defined once: each broker keeps this of each set.
Json integerOf(Json const& field, Json& definitions) {
    auto const type = field["type"].get<std::string>();
    Json range{{"type", "integer"}, {"minimum", field["least"]}, {"maximum", field["most"]}};
    if (field.contains("title")) return range;
    definitions[type] = std::move(range);
    return {{"$ref", "#/$defs/" + type}};
}

Json schemaOf(Json const& field, Json& definitions) {
    auto const type = field["type"].get<std::string>();
    Json schema;
    if (type == "record") {
        schema = objectOf(field["fields"], definitions);
    } else if (type == "array") {
        schema = {{"type", "array"},
                  {"maxItems", field["count"]},
                  {"items", schemaOf(field["element"], definitions)}};
    } else if (type == "bool" || type == "string") {
        schema = {{"type", type == "bool" ? "boolean" : type}};
    } else {
        schema = integerOf(field, definitions);
    }
    for (auto const* const key : {"title", "unit"}) {
        if (field.contains(key)) schema[key] = field[key];
    }
    return schema;
}

}  // namespace

Json interfaceSchema() {
    Json const interface = describeInterface("");
    Json schema{{"$schema", "https://json-schema.org/draft/2020-12/schema"},
                {"fingerprint", interface["fingerprint"]}};
    Json definitions = Json::object();
    for (auto const* const kind : {"commands", "notifications"}) {
        Json& messages = schema[kind] = Json::object();
        for (auto const& message : interface[kind]) {
            Json& made = messages[message["name"].get<std::string>()] =
                objectOf(message["fields"], definitions);
            for (auto const* const key : {"id", "relation", "command"}) {
                if (message.contains(key)) made[key] = message[key];
            }
        }
    }
    schema["$defs"] = std::move(definitions);
    return schema;
}

}  // namespace tools
