#include "fields.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <fstream>
#include <sstream>

namespace {

std::size_t widthOf(std::string const& type) {
    if (type == "b") return 1;
    if (type == "s") return 4 + sizeof(void*);
    return type.size() == 1 ? 4 : packedSize(expected("record", type).fields);
}

template <class Type>
void put(std::vector<unsigned char>& bytes, std::size_t offset, Type value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
}

}  // namespace

std::map<std::pair<std::string, std::string>, Expected> const& expectedInterface() {
    static auto const entries = [] {
        std::map<std::pair<std::string, std::string>, Expected> read;
        std::ifstream file(EXPECTED_INTERFACE);
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            std::string kind;
            std::string name;
            Expected entry{};
            words >> kind >> name;
            if (kind != "record") words >> std::hex >> entry.identifier >> std::dec;
            words >> entry.bytes;
            if (kind == "record") words >> entry.entries;
            std::getline(words, entry.fields);
            if (!kind.empty() && kind != "#") read[{kind, name}] = entry;
        }
        return read;
    }();
    return entries;
}

Expected const& expected(std::string const& kind, std::string const& name) {
    return expectedInterface().at({kind, name});
}

std::vector<PackedField> packedFieldsOf(std::string_view description) {
    std::vector<PackedField> fields;
    std::size_t offset = 0;
    std::istringstream words{std::string(description)};
    for (std::string word; words >> word;) {
        int count = 1;
        auto const parsed = std::from_chars(word.data(), word.data() + word.size(), count);
        word.erase(0, static_cast<std::size_t>(parsed.ptr - word.data()));
        bool const unwritten = word.front() == '-';
        if (unwritten) word.erase(0, 1);
        for (; count > 0; --count) {
            fields.push_back({word, unwritten, offset, widthOf(word)});
            offset += fields.back().width;
        }
    }
    return fields;
}

std::vector<PackedField> leavesOf(std::string_view description) {
    std::vector<PackedField> leaves;
    for (PackedField const& field : packedFieldsOf(description)) {
        if (!field.isNested()) {
            leaves.push_back(field);
            continue;
        }
        for (PackedField leaf : leavesOf(expected("record", field.type).fields)) {
            leaf.offset += field.offset;
            leaves.push_back(leaf);
        }
    }
    return leaves;
}

std::size_t packedSize(std::string_view description) {
    auto const fields = packedFieldsOf(description);
    return fields.empty() ? 0 : fields.back().offset + fields.back().width;
}

cspEndianTable_t const* exportedTable(std::string const& record) {
    return static_cast<cspEndianTable_t const*>(
        dlsym(RTLD_DEFAULT, ("__csp_EndianTable_" + record).c_str()));
}

void expectTable(cspEndianTable_t const* table, std::string_view description) {
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table->size, std::max<std::size_t>(packedSize(description), 1));
    cspEndianEntry_t const* entry = table->entries;
    for (PackedField const& field : packedFieldsOf(description)) {
        SCOPED_TRACE(field.type + " at " + std::to_string(field.offset));
        ASSERT_NE(entry->kind, kCspEndianEnd);
        EXPECT_EQ(entry->offset, field.offset);
        if (field.type == "s") {
            EXPECT_EQ(entry->kind, kCspEndianNested);
            EXPECT_EQ(entry->nested, &__csp_EndianTable_cspDeserString_t);
        } else if (field.isNested()) {
            EXPECT_EQ(entry->kind, kCspEndianNested);
            EXPECT_EQ(entry->nested, exportedTable("serializable_" + field.type));
        } else {
            EXPECT_EQ(entry->kind, field.width);
            EXPECT_EQ(entry->word, 0U);
        }
        ++entry;
    }
    EXPECT_EQ(entry->offset, 0);
    EXPECT_EQ(entry->kind, kCspEndianEnd);
    EXPECT_EQ(entry->word, UINTPTR_MAX);
}

std::vector<std::string> expectedText(std::string_view description, unsigned pass) {
    std::vector<std::string> text;
    unsigned n = 0;
    for (PackedField const& leaf : leavesOf(description)) {
        auto const word = wordValue(pass, n);
        text.push_back(leaf.type == "s"   ? textValue(pass, n)
                       : leaf.type == "b" ? std::to_string(byteValue(pass, n))
                       : leaf.type == "t" ? std::to_string(flagValue(pass, n))
                       : leaf.type == "q" ? std::to_string(static_cast<std::int32_t>(word))
                                          : std::to_string(word));
        ++n;
    }
    return text;
}

PackedRecord expectedRecord(std::string_view description, unsigned pass) {
    PackedRecord record;
    record.bytes.resize(std::max<std::size_t>(packedSize(description), 1));
    unsigned n = 0;
    for (PackedField const& leaf : leavesOf(description)) {
        if (leaf.type == "b") {
            put(record.bytes, leaf.offset, byteValue(pass, n));
        } else if (leaf.type == "t") {
            put(record.bytes, leaf.offset, std::uint32_t{flagValue(pass, n)});
        } else if (leaf.type == "s") {
            std::string& text = record.texts.emplace_back(textValue(pass, n));
            put(record.bytes, leaf.offset, static_cast<std::uint32_t>(text.size()));
            put(record.bytes, leaf.offset + 4, text.data());
        } else {
            put(record.bytes, leaf.offset, wordValue(pass, n));
        }
        ++n;
    }
    return record;
}

std::vector<char*> charactersOf(std::vector<unsigned char> const& bytes,
                                std::string_view description) {
    std::vector<char*> addresses;
    for (PackedField const& leaf : leavesOf(description)) {
        if (leaf.type != "s") continue;
        std::memcpy(&addresses.emplace_back(), bytes.data() + leaf.offset + 4, sizeof(char*));
    }
    return addresses;
}

void expectPacked(std::vector<unsigned char> bytes, std::string_view description, unsigned pass) {
    PackedRecord const expected = expectedRecord(description, pass);
    ASSERT_EQ(bytes.size(), expected.bytes.size());
    auto text = expected.texts.begin();
    for (char const* const characters : charactersOf(bytes, description)) {
        ASSERT_NE(characters, nullptr);
        EXPECT_EQ(std::memcmp(characters, text->c_str(), text->size() + 1), 0) << *text;
        ++text;
    }
    // Only the addresses may differ.
    for (PackedField const& leaf : leavesOf(description)) {
        if (leaf.type != "s") continue;
        std::memcpy(&bytes[leaf.offset + 4], &expected.bytes[leaf.offset + 4], sizeof(char*));
    }
    EXPECT_EQ(bytes, expected.bytes);
}
