#include "RecordCodec.h"

#include <cerrno>
#include <cstring>

// The transport never walks it: a string is told by the address of its table.
namespace {
constexpr cspEndianEntry_t kStringEntries[] = {{0, kCspEndianEnd, {.word = UINTPTR_MAX}}};
}  // namespace
cspEndianTable_t const __csp_EndianTable_cspDeserString_t{sizeof(cspDeserString_t), kStringEntries};

namespace desktop {

namespace {

constexpr std::size_t kWordSize = sizeof(std::uint32_t);

bool isString(cspEndianEntry_t const& entry) {
    return entry.nested == &__csp_EndianTable_cspDeserString_t;
}

/// Positions are handed from call to call: as members they would be stored and loaded again for
/// each field, since a byte that is written may be part of any object.
class Encoder {
public:
    Encoder(std::size_t limit, Bytes& out) : out_(out), limit_(limit) {}

    std::int32_t encode(cspEndianTable_t const& table, std::uint8_t const* record) {
        auto const begin = out_.size();
        // Nothing but the characters of strings needs more room on the wire than in the record, so
        // that is all that encodeString() has to make room for.
        out_.resize(begin + table.size);
        auto const* const end = encode(table, record, out_.data() + begin);
        if (end == nullptr) return status_;
        out_.resize(static_cast<std::size_t>(end - out_.data()));
        return out_.size() > limit_ ? -EMSGSIZE : 0;
    }

private:
    /// @return behind what has been written; null after a failure
    std::uint8_t* encode(cspEndianTable_t const& table, std::uint8_t const* record,
                         std::uint8_t* to) {
        for (auto const* entry = table.entries; entry->kind != kCspEndianEnd; ++entry) {
            auto const* const field = record + entry->offset;
            if (entry->kind == kCspEndianWord) {
                std::uint32_t word;
                std::memcpy(&word, field, sizeof word);
                storeBig32(to, word);
                to += kWordSize;
            } else if (entry->kind == kCspEndianByte) {
                *to++ = *field;
            } else {
                to = isString(*entry) ? encodeString(field, to) : encode(*entry->nested, field, to);
                if (to == nullptr) return nullptr;
            }
        }
        return to;
    }

    std::uint8_t* encodeString(std::uint8_t const* field, std::uint8_t* to) {
        cspDeserString_t string;
        std::memcpy(&string, field, sizeof string);
        storeBig32(to, string.length);
        to += kWordSize;
        if (string.length == 0) return to;
        if (string.characters == nullptr) return fail(-EINVAL);
        if (string.length > limit_) return fail(-EMSGSIZE);
        auto const at = to - out_.data();
        out_.resize(out_.size() + string.length);
        std::memcpy(out_.data() + at, string.characters, string.length);
        return out_.data() + at + string.length;
    }

    std::uint8_t* fail(std::int32_t status) {
        status_ = status;
        return nullptr;
    }

    Bytes& out_;
    std::size_t limit_;
    std::int32_t status_ = 0;
};

class Decoder {
public:
    explicit Decoder(std::uint8_t const* end) : end_(end) {}

    /// @return behind what has been read; null when that ends early
    std::uint8_t* decode(cspEndianTable_t const& table, std::uint8_t* from, std::uint8_t* record) {
        for (auto const* entry = table.entries; entry->kind != kCspEndianEnd; ++entry) {
            auto* const field = record + entry->offset;
            if (entry->kind == kCspEndianWord) {
                if (left(from) < kWordSize) return nullptr;
                auto const word = loadBig32(from);
                std::memcpy(field, &word, sizeof word);
                from += kWordSize;
            } else if (entry->kind == kCspEndianByte) {
                if (left(from) == 0) return nullptr;
                *field = *from++;
            } else {
                from = isString(*entry) ? decodeString(from, field)
                                        : decode(*entry->nested, from, field);
                if (from == nullptr) return nullptr;
            }
        }
        return from;
    }

private:
    std::size_t left(std::uint8_t const* from) const {
        return static_cast<std::size_t>(end_ - from);
    }

    std::uint8_t* decodeString(std::uint8_t* from, std::uint8_t* field) const {
        if (left(from) < kWordSize) return nullptr;
        cspDeserString_t string{};
        string.length = loadBig32(from);
        from += kWordSize;
        if (left(from) < string.length) return nullptr;
        string.characters = reinterpret_cast<char*>(from);
        std::memcpy(field, &string, sizeof string);
        return from + string.length;
    }

    std::uint8_t const* const end_;
};

}  // namespace

std::int32_t encodeRecord(cspEndianTable_t const& table, void const* record, std::size_t limit,
                          Bytes& out) {
    return Encoder(limit, out).encode(table, static_cast<std::uint8_t const*>(record));
}

char const* decodeRecord(cspEndianTable_t const& table, std::span<std::uint8_t> wire,
                         Bytes& record) {
    record.assign(table.size, 0);
    auto const* const end = wire.data() + wire.size();
    auto const* const read = Decoder(end).decode(table, wire.data(), record.data());
    if (read == nullptr) return "the record ends early";
    return read == end ? nullptr : "bytes after the record";
}

}  // namespace desktop
