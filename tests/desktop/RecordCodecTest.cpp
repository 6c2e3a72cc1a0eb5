#include "MessageHeader.h"
#include "RecordCodec.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "Datagram.h"

namespace desktop {
namespace {

constexpr std::uint16_t kTextSize = sizeof(cspDeserString_t);

cspEndianEntry_t const kInnerEntries[] = {
    {0, kCspEndianByte, {.word = 0}},
    {1, kCspEndianNested, {.nested = &__csp_EndianTable_cspDeserString_t}},
    {1 + kTextSize, kCspEndianEnd, {.word = UINTPTR_MAX}}};
cspEndianTable_t const kInner{1 + kTextSize, kInnerEntries};

cspEndianEntry_t const kOuterEntries[] = {{0, kCspEndianWord, {.word = 0}},
                                          {4, kCspEndianNested, {.nested = &kInner}},
                                          {5 + kTextSize, kCspEndianByte, {.word = 0}},
                                          {0, kCspEndianEnd, {.word = UINTPTR_MAX}}};
cspEndianTable_t const kOuter{6 + kTextSize, kOuterEntries};

Bytes outerRecord(char* text, std::uint32_t length) {
    Bytes record(kOuter.size);
    std::uint32_t const word = 0x01020304;
    std::memcpy(record.data(), &word, sizeof word);
    record[4] = 0xAB;
    cspDeserString_t string;
    string.length = length;
    string.characters = text;
    std::memcpy(&record[5], &string, sizeof string);
    record.back() = 0xCD;
    return record;
}

TEST(RecordCodec, WritesNetworkOrderWithStringsInPlaceAndReadsItBack) {
    std::string text("a\0b", 3);
    auto const record = outerRecord(text.data(), 3);
    Bytes wire{0xEE};
    ASSERT_EQ(encodeRecord(kOuter, record.data(), 100, wire), 0);
    Bytes const expected{0xEE, 1, 2, 3, 4, 0xAB, 0, 0, 0, 3, 'a', 0, 'b', 0xCD};
    ASSERT_EQ(wire, expected);

    Bytes copy;
    ASSERT_EQ(decodeRecord(kOuter, std::span(wire).subspan(1), copy), nullptr);
    cspDeserString_t string;
    std::memcpy(&string, &copy[5], sizeof string);
    EXPECT_EQ(std::string(string.characters, string.length), text);
    EXPECT_EQ(reinterpret_cast<std::uint8_t*>(string.characters), &wire[10]);
    std::memcpy(&copy[5], &record[5], sizeof string);
    EXPECT_EQ(copy, record);
}

TEST(RecordCodec, RefusesEveryTruncationExcessAndLengthThatLies) {
    char text[] = "four";
    Bytes wire;
    ASSERT_EQ(encodeRecord(kOuter, outerRecord(text, 4).data(), 100, wire), 0);
    Bytes record;
    for (std::size_t size = 0; size < wire.size(); ++size) {
        Bytes shorter(wire.begin(), wire.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_NE(decodeRecord(kOuter, shorter, record), nullptr) << size;
    }
    for (auto const high : Bytes{0x00, 0x7F, 0xFF}) {
        Bytes lie = wire;
        lie[5] = lie[6] = lie[7] = high;
        lie[8] = 0xFF;
        EXPECT_NE(decodeRecord(kOuter, lie, record), nullptr);
    }
    wire.push_back(0);
    EXPECT_NE(decodeRecord(kOuter, wire, record), nullptr);
}

TEST(RecordCodec, RecordWithoutEntriesTakesNoBytesAndArrivesAsZeros) {
    cspEndianTable_t const none{1, &kOuterEntries[3]};
    Bytes wire;
    ASSERT_EQ(encodeRecord(none, "x", 100, wire), 0);
    EXPECT_TRUE(wire.empty());
    Bytes record{9, 9};
    ASSERT_EQ(decodeRecord(none, wire, record), nullptr);
    EXPECT_EQ(record, Bytes{0});
}

TEST(RecordCodec, SaysWhatCannotBeSent) {
    char text[] = "0123456789";
    auto const encode = [](char* characters, std::uint32_t length, std::size_t limit) {
        Bytes wire;
        return encodeRecord(kOuter, outerRecord(characters, length).data(), limit, wire);
    };
    EXPECT_EQ(encode(nullptr, 1, 100), -EINVAL);
    EXPECT_EQ(encode(text, 10, 19), -EMSGSIZE);
    EXPECT_EQ(encode(text, 10, 20), 0);
    EXPECT_EQ(encode(text, 0xFFFFFFFF, 20), -EMSGSIZE);
}

TEST(Datagram, HeaderSurvivesTheWireAndEveryDefectIsFound) {
    auto const bytes = encodeHeader({Kind::kData, 0x1122334455667788, 0x01020304, 0xFFFFFFFE, 7});
    Bytes datagram(bytes.begin(), bytes.end());
    auto const message = encodeMessageHeader({{0xFFFFFFFF, 1, 2, 1}, {{3, 4}}});
    datagram.insert(datagram.end(), message.begin(), message.end());
    DatagramHeader header{};
    auto const check = [&header](std::span<std::uint8_t const> bytesToCheck) {
        auto const* const wrong = decodeHeader(bytesToCheck, header);
        return wrong != nullptr ? wrong : checkMessageHeader(bytesToCheck.subspan(kHeaderSize));
    };
    ASSERT_EQ(check(datagram), nullptr);
    EXPECT_EQ(header.session, 0x1122334455667788U);
    EXPECT_EQ(header.sequence, 0x01020304U);
    EXPECT_EQ(header.acknowledge, 0xFFFFFFFEU);
    EXPECT_EQ(header.credit, 7U);

    for (std::size_t size = 0; size < datagram.size(); ++size) {
        EXPECT_NE(check(std::span(datagram).first(size)), nullptr) << size;
    }
    for (auto const at : std::vector<std::size_t>{0, 4, 5, 6, 7, 40, 41, 42, 43}) {
        Bytes bad = datagram;
        bad[at] ^= 0x40;
        EXPECT_NE(check(bad), nullptr) << at;
    }
    datagram[5] = static_cast<std::uint8_t>(Kind::kPing);
    EXPECT_NE(decodeHeader(std::span(datagram).first(kHeaderSize), header), nullptr);
}

}  // namespace
}  // namespace desktop
