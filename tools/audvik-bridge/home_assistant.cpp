#include "home_assistant.h"

#include <algorithm>
#include <utility>

#include "message_list.h"

namespace reflection = sound::reflection;
using tools::Json;

namespace {

using reflection::NamedField;
using NamedFields = std::vector<NamedField>;

NamedFields fieldsWithRange(reflection::Message const& message) {
    auto fields = reflection::namedFields(message);
    std::erase_if(fields, [](NamedField const& field) { return !field.note->range; });
    return fields;
}

/// The same of another message, by the name that the user has given.
NamedField const* find(NamedFields const& fields, NamedField const& same) {
    auto const found = std::find_if(fields.begin(), fields.end(), [&](NamedField const& field) {
        return field.note->name == same.note->name;
    });
    return found != fields.end() ? &*found : nullptr;
}

std::string replaced(std::string text, char from, char to) {
    std::replace(text.begin(), text.end(), from, to);
    return text;
}

std::string argumentsWith(NamedField const& field, std::string const& value) {
    Json arguments;
    arguments[Json::json_pointer('/' + replaced(field.path, '.', '/'))] = nullptr;
    return tools::toText(arguments).replace(arguments.dump().find("null"), 4, value);
}

void addState(Json& entity, std::string const& root, reflection::Message const& notification,
              NamedField const& field) {
    entity["state_topic"] = root + "/on/" + std::string(notification.name);
    entity["value_template"] = "{{ value_json.arguments." + field.path + " if value else 'None' }}";
}

bool isSwitch(NamedField const& field) {
    return field.note->range->least == 0 && field.note->range->most == 1;
}

/// How to set a field, and where it is reported.
Json control(std::string const& root, reflection::Command const& command, NamedField const& field) {
    Json entity{{"command_topic", root + "/do/" + std::string(command.name)}};
    if (isSwitch(field)) {
        entity.update({{"payload_on", argumentsWith(field, "1")},
                       {"payload_off", argumentsWith(field, "0")},
                       {"state_on", "1"},
                       {"state_off", "0"}});
    } else {
        entity.update({{"command_template", argumentsWith(field, "{{ value }}")},
                       {"min", field.note->range->least},
                       {"max", field.note->range->most}});
    }
    for (auto const& notification : reflection::notifications()) {
        if (notification.relation != "reports" || notification.command != command.name) continue;
        auto const fields = fieldsWithRange(notification);
        if (auto const* const state = find(fields, field)) {
            addState(entity, root, notification, *state);
        }
    }
    return entity;
}

}  // namespace

std::vector<tools::MqttMessage> homeAssistantEntities(std::string const& root,
                                                      std::string const& set) {
    std::vector<tools::MqttMessage> messages;
    auto const node = "audvik_" + replaced(set, '.', '_');
    auto const add = [&](std::string const& component, reflection::Message const& message,
                         NamedField const& field, Json entity) {
        auto const object = std::string(message.name) + '_' + replaced(field.path, '.', '_');
        entity.update({{"name", field.note->name},
                       {"unique_id", node + '_' + object},
                       {"device", {{"identifiers", {node}}, {"name", set}}},
                       {"availability_topic", root + "/status"},
                       {"availability_template", "{{ value.split(':')[0] }}"}});
        if (!field.note->unit.empty()) entity["unit_of_measurement"] = field.note->unit;
        messages.push_back({"homeassistant/" + component + '/' + node + '/' + object + "/config",
                            tools::toText(entity), true});
    };
    for (auto const& command : reflection::commands()) {
        for (auto const& field : fieldsWithRange(command)) {
            add(isSwitch(field) ? "switch" : "number", command, field,
                control(root, command, field));
        }
    }
    for (auto const& notification : reflection::notifications()) {
        auto const settable = fieldsWithRange(reflection::findCommand(notification.command));
        for (auto const& field : fieldsWithRange(notification)) {
            if (notification.relation == "reports" && find(settable, field) != nullptr) continue;
            Json entity;
            addState(entity, root, notification, field);
            add("sensor", notification, field, std::move(entity));
        }
    }
    return messages;
}
