#include "MessageHeader.h"
#include "RecordCodec.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "Datagram.h"
#include "Payload.h"

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

TEST(RecordCodec, RefusesEveryTruncationExcessAndLengthThatLies) {
    char text[] = "four";
    Bytes wire;
    ASSERT_EQ(encodeRecord(kOuter, outerRecord(text, 4).data(), 100, wire), 0);
    Bytes record;
    for (std::size_t size = 0; size < wire.size(); ++size) {
        Bytes shorter(wire.begin(), wire.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_STREQ(decodeRecord(kOuter, shorter, record), "the record ends early") << size;
    }
    for (auto const high : Bytes{0x00, 0x7F, 0xFF}) {
        Bytes lie = wire;
        lie[5] = lie[6] = lie[7] = high;
        lie[8] = 0xFF;
        EXPECT_NE(decodeRecord(kOuter, lie, record), nullptr);
    }
    wire.push_back(0);
    EXPECT_NE(decodeRecord(kOuter, wire, record), nullptr);

    cspEndianEntry_t const entries[] = {kInnerEntries[1], kInnerEntries[2]};
    cspEndianTable_t const lone{1 + kTextSize, entries};
    for (auto const length : Bytes{2, 3, 1}) {
        Bytes text2{0, 0, 0, length, 'a', 'b'};
        EXPECT_EQ(decodeRecord(lone, text2, record) == nullptr, length == 2);
    }
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

// The headers of the datagram and of the message in it, written by hand.
Bytes const kDatagram{'L',  'M',  'Q',  '2',  1,    3,    0,    0,    0x11, 0x12, 0x13, 0x14, 0x15,
                      0x16, 0x17, 0x18, 0x21, 0x22, 0x23, 0x24, 0x31, 0x32, 0x33, 0x34, 0x41, 0x42,
                      0x43, 0x44, 0x51, 0x52, 0x53, 0x54, 0x61, 0x62, 0x63, 0x64, 0x71, 0x72, 0x73,
                      0x74, 1,    0,    0,    0,    0x81, 0x82, 0x83, 0x84, 0x91, 0x92, 0x93, 0x94};

TEST(Datagram, EveryDefectIsFound) {
    auto const isWrong = [](std::span<std::uint8_t const> bytes) {
        DatagramHeader header{};
        return decodeHeader(bytes, header) != nullptr ||
               (header.kind == Kind::kData &&
                checkMessageHeader(bytes.subspan(kHeaderSize)) != nullptr);
    };
    auto const start = std::span(kDatagram).subspan(kHeaderSize);
    auto const [header, msgIds] = decodeMessageHeader(start);
    EXPECT_EQ(header.notification, 1);
    EXPECT_EQ(msgIds.words[1], 0x91929394);
    EXPECT_TRUE(std::ranges::equal(encodeMessageHeader({header, msgIds}), start));
    for (std::size_t size = 0; size < kDatagram.size(); ++size) {
        EXPECT_TRUE(isWrong(std::span(kDatagram).first(size))) << size;
    }
    struct {
        std::size_t at;
        Bytes wrong;
    } const defects[] = {{0, {0}}, {3, {'1'}},     {4, {0, 2}}, {5, {0, 8, 255}}, {6, {1}},
                         {7, {1}}, {40, {2, 255}}, {41, {1}},   {42, {1}},        {43, {1}}};
    for (auto const& [at, values] : defects) {
        for (auto const value : values) {
            auto bad = kDatagram;
            bad[at] = value;
            EXPECT_TRUE(isWrong(bad)) << at;
        }
    }
    auto bad = kDatagram;
    std::fill_n(bad.begin() + 8, 8, std::uint8_t{0});
    EXPECT_TRUE(isWrong(bad)) << "session 0";
    for (auto const kind : {0, 1, 2, 4, 5, 6, 7, 8}) {
        bad = Bytes(kDatagram.begin(), kDatagram.begin() + kHeaderSize);
        bad[5] = static_cast<std::uint8_t>(kind);
        EXPECT_TRUE(isWrong(bad)) << "a number without a message";
        std::fill_n(bad.begin() + 16, 4, std::uint8_t{0});
        EXPECT_EQ(isWrong(bad), kind == 0 || kind == 8);
        bad.push_back(0);
        EXPECT_TRUE(isWrong(bad)) << "bytes behind the header";
    }
}

TEST(Payload, IsUsedAgainUnlessItIsLarge) {
    auto const capacityAfter = [](std::size_t size) {
        Bytes(size).swap(newPayload()->bytes);
        auto const next = newPayload();
        EXPECT_TRUE(next->bytes.empty());
        return next->bytes.capacity();
    };
    EXPECT_EQ(capacityAfter(4096), 4096U);
    EXPECT_LE(capacityAfter(4097), 4096U);
}

}  // namespace
}  // namespace desktop
