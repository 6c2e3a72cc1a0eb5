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

class Encoder {
public:
    // Nothing but the characters of strings needs more room on the wire than in the record, so
    // that is all that encode() has to make room for on its way.
    Encoder(std::size_t recordSize, std::size_t limit, Bytes& out)
        : out_(out), at_(out.size()), limit_(limit) {
        out_.resize(at_ + recordSize);
    }

    std::int32_t encode(cspEndianTable_t const& table, std::uint8_t const* record) {
        for (auto const* entry = table.entries; entry->kind != kCspEndianEnd; ++entry) {
            auto const* const field = record + entry->offset;
            if (entry->kind == kCspEndianByte) {
                out_[at_++] = *field;
            } else if (entry->kind == kCspEndianWord) {
                std::uint32_t word;
                std::memcpy(&word, field, sizeof word);
                storeWord(word);
            } else {
                auto const status =
                    isString(*entry) ? encodeString(field) : encode(*entry->nested, field);
                if (status < 0) return status;
            }
        }
        return 0;
    }

    std::int32_t finish() {
        out_.resize(at_);
        return at_ > limit_ ? -EMSGSIZE : 0;
    }

private:
    void storeWord(std::uint32_t word) {
        storeBig32(&out_[at_], word);
        at_ += kWordSize;
    }

    std::int32_t encodeString(std::uint8_t const* field) {
        cspDeserString_t string;
        std::memcpy(&string, field, sizeof string);
        storeWord(string.length);
        if (string.length == 0) return 0;
        if (string.characters == nullptr) return -EINVAL;
        if (string.length > limit_) return -EMSGSIZE;
        out_.resize(out_.size() + string.length);
        std::memcpy(&out_[at_], string.characters, string.length);
        at_ += string.length;
        return 0;
    }

    Bytes& out_;
    std::size_t at_;
    std::size_t limit_;
};

class Decoder {
public:
    explicit Decoder(std::span<std::uint8_t> wire) : rest_(wire) {}

    bool decode(cspEndianTable_t const& table, std::uint8_t* record) {
        for (auto const* entry = table.entries; entry->kind != kCspEndianEnd; ++entry) {
            auto* const field = record + entry->offset;
            if (!decodeField(*entry, field)) return false;
        }
        return true;
    }

    bool atEnd() const { return rest_.empty(); }

private:
    bool decodeField(cspEndianEntry_t const& entry, std::uint8_t* field) {
        if (entry.kind == kCspEndianByte) {
            if (rest_.empty()) return false;
            *field = rest_[0];
            rest_ = rest_.subspan(1);
            return true;
        }
        if (entry.kind == kCspEndianWord) {
            std::uint32_t word;
            if (!takeWord(word)) return false;
            std::memcpy(field, &word, sizeof word);
            return true;
        }
        return isString(entry) ? decodeString(field) : decode(*entry.nested, field);
    }

    bool takeWord(std::uint32_t& word) {
        if (rest_.size() < kWordSize) return false;
        word = loadBig32(rest_.data());
        rest_ = rest_.subspan(kWordSize);
        return true;
    }

    bool decodeString(std::uint8_t* field) {
        std::uint32_t length;
        if (!takeWord(length) || rest_.size() < length) return false;
        cspDeserString_t string{};
        string.length = length;
        string.characters = reinterpret_cast<char*>(rest_.data());
        std::memcpy(field, &string, sizeof string);
        rest_ = rest_.subspan(length);
        return true;
    }

    std::span<std::uint8_t> rest_;
};

}  // namespace

std::int32_t encodeRecord(cspEndianTable_t const& table, void const* record, std::size_t limit,
                          Bytes& out) {
    Encoder encoder(table.size, limit, out);
    auto const status = encoder.encode(table, static_cast<std::uint8_t const*>(record));
    return status < 0 ? status : encoder.finish();
}

char const* decodeRecord(cspEndianTable_t const& table, std::span<std::uint8_t> wire,
                         Bytes& record) {
    record.assign(table.size, 0);
    Decoder decoder(wire);
    if (!decoder.decode(table, record.data())) return "the record ends early";
    return decoder.atEnd() ? nullptr : "bytes after the record";
}

}  // namespace desktop
