#include "message_json.h"

#include <array>
#include <chrono>
#include <cinttypes>
#include <cstdio>

namespace tools {

namespace {

using Kind = FieldType::Kind;

Json describeFields(std::string_view record, std::span<FieldType const* const> types);

Json describe(FieldType const& type, FieldNote const* note) {
    switch (type.kind) {
        case Kind::kRecord: {
            Json record{{"type", "record"}, {"record", type.name}};
            record["fields"] = describeFields(type.name, memberTypes(type));
            return record;
        }
        case Kind::kArray:
            return {{"type", "array"},
                    {"count", type.count},
                    {"element", describe(*type.element, note)}};
        case Kind::kInteger: {
            auto const [least, most] = rangeOf(type, note);
            return {{"type", typeName(type)}, {"least", least}, {"most", most}};
        }
        case Kind::kBool:
        case Kind::kString:
            break;
    }
    return {{"type", typeName(type)}};
}

Json describeFields(std::string_view record, std::span<FieldType const* const> types) {
    Json fields = Json::array();
    for (FieldType const* const type : types) {
        FieldNote const* const note = noteOf(record, fields.size());
        Json field{{"name", fieldName(fields.size())}};
        if (note != nullptr) field["title"] = note->name;
        field.update(describe(*type, note));
        if (note != nullptr && !note->unit.empty()) field["unit"] = note->unit;
        fields.push_back(std::move(field));
    }
    return fields;
}

Json describe(sound::reflection::Message const& message) {
    Json json{{"name", message.name}, {"id", idText(message.id)}};
    if (!message.record.empty()) json["record"] = message.record;
    json["fields"] = describeFields(message.record, message.fields);
    return json;
}

}  // namespace

std::string idText(std::uint32_t id) {
    std::array<char, 11> text;
    std::snprintf(text.data(), text.size(), "0x%08" PRIx32, id);
    return text.data();
}

Json timedLine() {
    std::chrono::duration<double> const time = std::chrono::system_clock::now().time_since_epoch();
    return {{"time", time.count()}};
}

Json messageLine(std::string_view kind, std::string_view name, std::uint32_t id, Json arguments) {
    Json line = timedLine();
    line[std::string(kind)] = name;
    line["id"] = idText(id);
    line["arguments"] = std::move(arguments);
    return line;
}

Json describeInterface(std::string_view pattern) {
    Json commands = Json::array();
    for (auto const& command : sound::reflection::commands()) {
        if (command.nameContains(pattern)) commands.push_back(describe(command));
    }
    Json notifications = Json::array();
    for (auto const& notification : sound::reflection::notifications()) {
        if (!notification.nameContains(pattern)) continue;
        notifications.push_back(describe(notification));
        notifications.back()["relation"] = notification.relation;
        notifications.back()["command"] = notification.command;
    }
    return {{"fingerprint", interfaceFingerprint()},
            {"commands", std::move(commands)},
            {"notifications", std::move(notifications)}};
}

std::string interfaceFingerprint() {
    std::string text;
    auto const add = [&text](auto messages) {
        for (sound::reflection::Message const& message : messages) {
            text += idText(message.id) + std::string(message.name) + describe(message.fields);
        }
    };
    add(sound::reflection::commands());
    add(sound::reflection::notifications());
    std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a, the same on every machine
    for (char const letter : text) {
        hash = (hash ^ static_cast<unsigned char>(letter)) * 0x100000001B3;
    }
    std::array<char, 17> digits;
    std::snprintf(digits.data(), digits.size(), "%016" PRIx64, hash);
    return digits.data();
}

}  // namespace tools
