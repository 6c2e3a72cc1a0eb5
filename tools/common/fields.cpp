#include "fields.h"

#include <cstring>
#include <utility>

namespace tools {

namespace {

using Kind = FieldType::Kind;

bool isSigned(FieldType const& integer) {
    return integer.least < 0;
}

template <class Unsigned, class Signed>
std::int64_t readInteger(void const* address, bool asSigned) {
    Unsigned value;
    std::memcpy(&value, address, sizeof value);
    return asSigned ? std::int64_t{static_cast<Signed>(value)} : static_cast<std::int64_t>(value);
}

template <class Unsigned>
void writeInteger(void* address, std::int64_t value) {
    auto const bits = static_cast<Unsigned>(value);
    std::memcpy(address, &bits, sizeof bits);
}

void visit(std::string const& path, Field const& field,
           std::function<void(std::string const&, Field const&)> const& visitor) {
    if (field.type->kind != Kind::kRecord && field.type->kind != Kind::kArray) {
        visitor(path, field);
        return;
    }
    auto const inner = membersOf(field);
    for (std::size_t i = 0; i < inner.size(); ++i) {
        bool const isRecord = field.type->kind == Kind::kRecord;
        visit(isRecord ? memberPath(path, inner[i].note, i) : elementPath(path, i), inner[i],
              visitor);
    }
}

FieldNotes& allNotes() {
    static FieldNotes notes;
    return notes;
}

}  // namespace

void setFieldNotes(FieldNotes notes) {
    allNotes() = std::move(notes);
}

FieldNote const* noteOf(std::string_view record, std::size_t index) {
    auto const ofRecord = allNotes().find(record);
    if (ofRecord == allNotes().end()) return nullptr;
    auto const found = ofRecord->second.find(index);
    return found == ofRecord->second.end() ? nullptr : &found->second;
}

Fields membersOf(Field const& field) {
    auto* const base = static_cast<unsigned char*>(field.address);
    Fields fields;
    fields.reserve(field.type->members.size() + field.type->count);
    for (auto const& member : field.type->members) {
        fields.push_back(
            {member.type, base + member.offset, noteOf(field.type->name, fields.size())});
    }
    for (std::size_t i = 0; i < field.type->count; ++i) {
        fields.push_back({field.type->element, base + i * field.type->element->size, field.note});
    }
    return fields;
}

std::vector<FieldType const*> memberTypes(FieldType const& record) {
    std::vector<FieldType const*> types;
    for (auto const& member : record.members) types.push_back(member.type);
    return types;
}

std::int64_t integerOf(Field const& field) {
    bool const asSigned = isSigned(*field.type);
    switch (field.type->size) {
        case 1:
            return readInteger<std::uint8_t, std::int8_t>(field.address, asSigned);
        case 4:
            return readInteger<std::uint32_t, std::int32_t>(field.address, asSigned);
        default:
            return readInteger<std::uint64_t, std::int64_t>(field.address, asSigned);
    }
}

void setInteger(Field const& field, std::int64_t value) {
    switch (field.type->size) {
        case 1:
            return writeInteger<std::uint8_t>(field.address, value);
        case 4:
            return writeInteger<std::uint32_t>(field.address, value);
        default:
            return writeInteger<std::uint64_t>(field.address, value);
    }
}

std::string fieldName(std::size_t index) {
    return "field" + std::to_string(index + 1);
}

std::string shownName(FieldNote const* note, std::size_t index) {
    return note != nullptr ? note->name : fieldName(index);
}

std::string memberPath(std::string const& record, FieldNote const* note, std::size_t index) {
    return (record.empty() ? "" : record + '.') + shownName(note, index);
}

std::string elementPath(std::string const& array, std::size_t index) {
    return array + '[' + std::to_string(index) + ']';
}

std::string typeName(FieldType const& type) {
    switch (type.kind) {
        case Kind::kBool:
            return "bool";
        case Kind::kString:
            return "string";
        case Kind::kArray:
            return typeName(*type.element) + '[' + std::to_string(type.count) + ']';
        case Kind::kRecord:
            return '{' + describe(memberTypes(type)) + '}';
        case Kind::kInteger:
            break;
    }
    return (isSigned(type) ? "int" : "uint") + std::to_string(8 * type.size);
}

std::string describe(std::span<FieldType const* const> types) {
    std::string text;
    for (std::size_t first = 0, end = 0; first < types.size(); first = end) {
        while (end < types.size() && types[end] == types[first]) ++end;
        text += (first > 0 ? ", " : "") + fieldName(first);
        if (end > first + 1) text += '-' + fieldName(end - 1);
        text += ' ' + typeName(*types[first]);
    }
    return text;
}

Range rangeOf(FieldType const& integer, FieldNote const* note) {
    return note != nullptr && note->range ? *note->range : Range{integer.least, integer.most};
}

std::string acceptedValues(Field const& scalar) {
    if (scalar.type->kind == Kind::kString) return "a string";
    if (scalar.type->kind == Kind::kBool) return "a bool, true or false";
    auto const [least, most] = rangeOf(*scalar.type, scalar.note);
    return (isSigned(*scalar.type) ? "an " : "a ") + typeName(*scalar.type) + " from " +
           std::to_string(least) + " to " + std::to_string(most);
}

void visitScalars(Fields const& fields,
                  std::function<void(std::string const&, Field const&)> const& visitor) {
    for (std::size_t i = 0; i < fields.size(); ++i)
        visit(shownName(fields[i].note, i), fields[i], visitor);
}

}  // namespace tools
