#include "names_file.h"

#include <cctype>
#include <fstream>
#include <set>
#include <vector>

#include "errors.h"
#include "message_list.h"
#include "record_json.h"
#include "suggest.h"
#include "text_input.h"

namespace tools {

namespace {

using Types = std::vector<FieldType const*>;
using Records = std::map<std::string_view, Types>;

void addRecords(Types const& types, Records& records) {
    for (auto const* type : types) {
        if (type->kind == FieldType::Kind::kArray) type = type->element;
        if (type->kind != FieldType::Kind::kRecord) continue;
        records[type->name] = memberTypes(*type);
        addRecords(records[type->name], records);
    }
}

/// The members of all records, by the records' names.
Records allRecords() {
    Records records;
    auto const add = [&records](auto messages) {
        for (auto const& message : messages) {
            if (!message.record.empty()) records[message.record] = message.fields;
            addRecords(message.fields, records);
        }
    };
    add(sound::reflection::commands());
    add(sound::reflection::notifications());
    return records;
}

Types const& findRecord(Records const& records, std::string const& name) {
    auto const found = records.find(name);
    if (found != records.end()) return found->second;
    std::vector<std::string_view> names;
    for (auto const& [known, types] : records) names.push_back(known);
    auto const best = nearest(name, names);
    throw UsageError("there is no such record" +
                     (best.empty() ? "; soundctl list shows all" : "; did you mean " + best + '?'));
}

bool isName(std::string const& text) {
    bool isRight = !text.empty() && std::isdigit(static_cast<unsigned char>(text[0])) == 0 &&
                   !text.starts_with("field");
    for (char const letter : text) {
        isRight =
            isRight && (std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '_');
    }
    return isRight;
}

std::int64_t readBound(Json const& note, char const* key, std::int64_t missing) {
    if (!note.contains(key)) return missing;
    if (!note[key].is_number_integer()) throw UsageError(std::string(key) + " is no whole number");
    return note[key].get<std::int64_t>();
}

FieldNote readNote(Json const& json, FieldType const& type) {
    if (!json.is_object() || !json.contains("name") || !json["name"].is_string()) {
        throw UsageError(R"(expected is an object like {"name": "volume", "unit": "%"})");
    }
    for (auto const& [key, value] : json.items()) {
        if (key != "name" && key != "unit" && key != "least" && key != "most") {
            throw UsageError(key + " is none of name, unit, least, most");
        }
    }
    FieldNote note{json["name"].get<std::string>(), "", {}};
    if (!isName(note.name)) {
        throw UsageError(
            "a name has letters, digits and _, and begins with a letter but not with "
            "\"field\"");
    }
    if (json.contains("unit")) {
        if (!json["unit"].is_string()) throw UsageError("the unit is no string");
        note.unit = json["unit"].get<std::string>();
    }
    if (!json.contains("least") && !json.contains("most")) return note;
    FieldType const& scalar = type.kind == FieldType::Kind::kArray ? *type.element : type;
    note.range = {readBound(json, "least", scalar.least), readBound(json, "most", scalar.most)};
    if (scalar.kind != FieldType::Kind::kInteger || note.range->least < scalar.least ||
        note.range->most > scalar.most || note.range->least > note.range->most) {
        throw UsageError("least and most are no range of a " + typeName(scalar));
    }
    return note;
}

RecordNotes readRecord(Json const& json, Types const& types) {
    if (!json.is_object()) throw UsageError(R"(expected is an object like {"field1": {...}})");
    RecordNotes notes;
    std::set<std::string> names;
    for (auto const& [key, value] : json.items()) {
        std::size_t index = 0;
        while (index < types.size() && key != fieldName(index)) ++index;
        try {
            if (index == types.size()) throw UsageError("there is no such field");
            notes[index] = readNote(value, *types[index]);
            if (!names.insert(notes[index].name).second) {
                throw UsageError("another field has this name");
            }
        } catch (UsageError const& error) {
            throw UsageError(key + ": " + error.what());
        }
    }
    return notes;
}

FieldNotes readNotes(Json const& json) {
    if (!json.is_object()) throw UsageError(R"(expected is an object like {"record": {...}})");
    auto const records = allRecords();
    FieldNotes notes;
    for (auto const& [name, fields] : json.items()) {
        try {
            notes[name] = readRecord(fields, findRecord(records, name));
        } catch (UsageError const& error) {
            throw UsageError(name + ": " + error.what());
        }
    }
    return notes;
}

}  // namespace

void useNamesFile(std::string const& path) {
    try {
        std::ifstream file(path);
        if (!file) throw UsageError("cannot be read");
        setFieldNotes(readNotes(parseJson(readText(file))));
    } catch (std::exception const& error) {
        throw UsageError(path + ": " + error.what());
    }
}

}  // namespace tools
