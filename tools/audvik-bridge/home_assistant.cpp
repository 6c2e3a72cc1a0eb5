#include "home_assistant.h"

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>

#include "message_list.h"

namespace reflection = sound::reflection;
using boost::algorithm::replace_all_copy;
using tools::Json;

namespace {

using Fields = std::vector<reflection::NamedField>;

Fields fieldsWithRange(reflection::Message const& message) {
    auto fields = reflection::namedFields(message);
    std::erase_if(fields, [](auto const& field) { return !field.note->range; });
    return fields;
}

/// The field of another message to which the user has given the same name.
auto findSame(Fields const& fields, reflection::NamedField const& same) {
    return std::find_if(fields.begin(), fields.end(),
                        [&](auto const& field) { return field.note->name == same.note->name; });
}

std::string argumentsWith(std::string const& path, std::string const& value) {
    auto text = Json{{'/' + replace_all_copy(path, ".", "/"), nullptr}}.unflatten().dump();
    return text.replace(text.find("null"), 4, value);
}

Json stateOf(std::string const& root, reflection::Message const& notification,
             std::string const& path) {
    return {{"state_topic", root + "/on/" + std::string(notification.name)},
            {"value_template", "{{ value_json.arguments." + path + " if value else 'None' }}"}};
}

/// How to set a field, and where it is reported.
Json control(std::string const& root, reflection::Command const& command,
             reflection::NamedField const& field, bool isSwitch) {
    Json entity{{"command_topic", root + "/do/" + std::string(command.name)}};
    if (isSwitch) {
        entity.update({{"payload_on", argumentsWith(field.path, "1")},
                       {"payload_off", argumentsWith(field.path, "0")},
                       {"state_on", "1"},
                       {"state_off", "0"}});
    } else {
        entity.update({{"command_template", argumentsWith(field.path, "{{ value }}")},
                       {"min", field.note->range->least},
                       {"max", field.note->range->most}});
    }
    for (auto const& notification : reflection::notifications()) {
        if (notification.relation != "reports" || notification.command != command.name) continue;
        auto const fields = fieldsWithRange(notification);
        auto const same = findSame(fields, field);
        if (same != fields.end()) entity.update(stateOf(root, notification, same->path));
    }
    return entity;
}

}  // namespace

std::vector<tools::MqttMessage> homeAssistantEntities(std::string const& set) {
    std::vector<tools::MqttMessage> messages;
    auto const root = "audvik/" + set;
    auto const node = "audvik_" + replace_all_copy(set, ".", "_");
    auto const add = [&](std::string const& component, reflection::Message const& message,
                         reflection::NamedField const& field, Json entity) {
        auto const object =
            std::string(message.name) + '_' + replace_all_copy(field.path, ".", "_");
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
            bool const isSwitch = field.note->range->least == 0 && field.note->range->most == 1;
            add(isSwitch ? "switch" : "number", command, field,
                control(root, command, field, isSwitch));
        }
    }
    for (auto const& notification : reflection::notifications()) {
        auto const settable = fieldsWithRange(reflection::findCommand(notification.command));
        for (auto const& field : fieldsWithRange(notification)) {
            bool const isShown =
                notification.relation == "reports" && findSame(settable, field) != settable.end();
            if (!isShown)
                add("sensor", notification, field, stateOf(root, notification, field.path));
        }
    }
    return messages;
}
