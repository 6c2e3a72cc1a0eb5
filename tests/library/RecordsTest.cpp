// The packed forms of the 83 records.
#include <string>
#include <vector>

namespace records_test {

/// A record, as it is declared.
struct Record {
    std::string name;
    std::vector<unsigned char> (*construct)(unsigned char before);
    void (*packAndUnpack)(std::string_view fields);
};
std::vector<Record>& records() {
    static std::vector<Record> records;
    return records;
}
template <class Plain, class Form>
bool list(char const* name);

}  // namespace records_test

// Each declaration puts its record into the list.
#define AUDVIK_DEFINE_PACKED(NAME) \
    static bool const listed_##NAME = records_test::list<NAME, _##NAME##_struct>(#NAME);
#include "sound/records.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "LibraryTest.h"

namespace {

using testing::ElementsAre;

/// @return the bytes of a packed form
template <class Form>
std::vector<unsigned char> bytesOf(Form const& form) {
    std::vector<unsigned char> bytes(sizeof form);
    std::memcpy(bytes.data(), &form, sizeof form);
    return bytes;
}

/// Makes a packed form of given bytes, as a transport would.
template <class Form>
Form formOf(std::vector<unsigned char> const& bytes) {
    Form form;
    EXPECT_EQ(bytes.size(), sizeof form);
    std::memcpy(static_cast<void*>(&form), bytes.data(), sizeof form);
    return form;
}

/// Checks a packed form that was made from a filled record, and frees its strings.
void checkAndFree(std::vector<unsigned char> const& packed, std::string_view fields,
                  unsigned pass) {
    expectPacked(packed, fields, pass);
    for (char* const characters : charactersOf(packed, fields)) std::free(characters);
}

template <class Plain, class Form>
void packAndUnpack(std::string_view fields) {
    for (unsigned pass = 0; pass < kPasses; ++pass) {
        Plain plain;
        unsigned n = 0;
        fill(plain, pass, n);
        Form assigned;
        EXPECT_EQ(&(assigned = plain), &assigned);
        checkAndFree(bytesOf(assigned), fields, pass);
        checkAndFree(bytesOf(Form(plain)), fields, pass);

        PackedRecord const record = expectedRecord(fields, pass);
        std::vector<std::string> unpacked;
        write(static_cast<Plain>(formOf<Form>(record.bytes)), unpacked);
        EXPECT_EQ(unpacked, expectedText(fields, pass));
    }
}

/// Constructs a packed form in memory of a known content.
template <class Form>
std::vector<unsigned char> construct(unsigned char before) {
    alignas(std::max_align_t) unsigned char memory[sizeof(Form)];
    // Through a volatile pointer: the compiler might leave out writes before a construction.
    for (unsigned char volatile& byte : memory) byte = before;
    new (memory) Form;
    return {memory, memory + sizeof(Form)};
}

}  // namespace

template <class Plain, class Form>
bool records_test::list(char const* name) {
    records().push_back({name, &construct<Form>, &packAndUnpack<Plain, Form>});
    return true;
}

namespace {

class RecordTest : public LibraryTest, public testing::WithParamInterface<records_test::Record> {
protected:
    Expected const& record_ = expected("record", GetParam().name);
};

TEST_P(RecordTest, tableListsItsFields) {
    auto const fields = packedFieldsOf(record_.fields);
    std::size_t strings = 0;
    for (PackedField const& field : fields) strings += field.type == "s" ? 1 : 0;
    EXPECT_EQ(packedSize(record_.fields), record_.bytes + strings * (sizeof(void*) - 4));
    EXPECT_EQ(fields.size(), record_.entries);
    expectTable(exportedTable("serializable_" + GetParam().name), record_.fields);
}

TEST_P(RecordTest, constructionLeavesSomeFieldsUnwritten) {
    for (auto const before : std::vector<unsigned char>{0x00, 0xA5, 0xFF}) {
        std::vector<unsigned char> expected(packedSize(record_.fields));
        for (PackedField const& leaf : leavesOf(record_.fields)) {
            if (!leaf.unwritten) continue;
            std::memset(expected.data() + leaf.offset, before, leaf.width);
        }
        EXPECT_EQ(GetParam().construct(before), expected);
    }
}

TEST_P(RecordTest, packsAndUnpacksEveryField) {
    GetParam().packAndUnpack(record_.fields);
}

INSTANTIATE_TEST_SUITE_P(All, RecordTest, testing::ValuesIn(records_test::records()),
                         [](auto const& tested) { return tested.param.name; });

TEST(RecordsTest, theInterfaceHasWhatIsExpectedAndNothingElse) {
    auto found = records_test::records().size();
#define AUDVIK_COMMAND(...) ++found;
#define AUDVIK_NOTIFICATION(...) ++found;
#include "sound/messages.def"
    EXPECT_EQ(found, expectedInterface().size());
    EXPECT_EQ(found, 83U + 53U + 22U);
}

std::vector<unsigned char> words(std::initializer_list<std::uint32_t> values) {
    std::vector<unsigned char> bytes(values.size() * sizeof *values.begin());
    std::memcpy(bytes.data(), values.begin(), bytes.size());
    return bytes;
}

TEST(RecordsTest, anyWordButZeroIsTrue) {
    std::vector<std::string> flags;
    auto const form = formOf<sound::_soundMiParam_t_struct>(words({0, 7, 0x80000000, 0xFFFFFFFF}));
    auto const plain = static_cast<sound::soundMiParam_t>(form);
    write(plain, flags);
    EXPECT_THAT(flags, ElementsAre("0", "1", "1", "1"));
    EXPECT_EQ(bytesOf(sound::_soundMiParam_t_struct(plain)), words({0, 1, 1, 1}));
}

TEST(RecordsTest, theWideFieldLosesItsHighHalf) {
    auto const roundTrip = [](std::int64_t value) {
        sound::soundParams_t plain{};
        plain.field2 = value;
        return static_cast<sound::soundParams_t>(sound::_soundParams_t_struct(plain)).field2;
    };
    EXPECT_EQ(roundTrip(-2), -2);
    EXPECT_EQ(roundTrip(0x100000005), 5);
    EXPECT_EQ(roundTrip(0xFFFFFFFF), -1);
    EXPECT_EQ(roundTrip(0x80000000), -2147483648);
}

}  // namespace
