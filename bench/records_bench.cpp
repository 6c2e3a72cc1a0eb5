// What a record costs on its way into and out of bytes, beside a bare copy of as many bytes and
// beside other people's libraries.

#include <benchmark/benchmark.h>

#include <array>
#include <cereal/archives/binary.hpp>
#include <cereal/types/array.hpp>
#include <cereal/types/string.hpp>
#include <cstring>
#include <msgpack.hpp>
#include <streambuf>
#include <string>
#include <utility>

#include "bench_fields.h"
#include "RecordCodec.h"
#include "sound/packing.h"
#include "sound/records.h"

namespace {

using sound::packing::kIsArray;
using sound::packing::Record;

/// Calls @p function with each of a record's members.
template <class Plain, class Function>
void forEachMember(Plain& plain, Function const& function) {
    constexpr auto kCount = sound::packing::LayoutOf<std::remove_const_t<Plain>>::kCount;
    [&]<std::size_t... kIndices>(std::index_sequence<kIndices...>) {
        (function(sound::packing::member<kIndices>(plain)), ...);
    }
    (std::make_index_sequence<kCount>{});
}

/// More than any record has on the wire.
constexpr std::size_t kLimit = 65000;

/// Nothing is zero: some formats leave that out.
template <class Type>
void fill(Type& value, std::uint32_t& next) {
    if constexpr (Record<Type>) {
        forEachMember(value, [&next](auto& member) { fill(member, next); });
    } else if constexpr (kIsArray<Type>) {
        for (auto& each : value) fill(each, next);
    } else if constexpr (std::is_same_v<Type, std::string>) {
        value = "thirty-three characters are here.";
    } else if constexpr (std::is_same_v<Type, bool>) {
        value = true;
    } else {
        constexpr std::uint32_t kSpread = 0x9E3779B1;
        value = static_cast<Type>((next += kSpread) | 1U);
    }
}

template <class Plain>
Plain filled() {
    Plain plain{};
    std::uint32_t next = 0;
    fill(plain, next);
    return plain;
}

/// Measures an action that works on what the compiler cannot foresee.
template <class Subject, class Action>
void measure(benchmark::State& state, Subject& subject, Action const& action) {
    for (auto _ : state) {
        benchmark::DoNotOptimize(&subject);
        action();
        benchmark::ClobberMemory();
    }
}

template <class Plain>
using Form = typename sound::PackedTraits<Plain>::Form;

template <class Plain>
void bareCopy(benchmark::State& state) {
    std::array<unsigned char, sizeof(Form<Plain>)> from{};
    std::array<unsigned char, sizeof(Form<Plain>)> to;
    measure(state, from, [&] {
        std::memcpy(to.data(), from.data(), to.size());
        benchmark::DoNotOptimize(&to);
    });
}

template <class Plain>
void pack(benchmark::State& state) {
    auto plain = filled<Plain>();
    Form<Plain> packed;
    measure(state, plain, [&] {
        packed = plain;
        benchmark::DoNotOptimize(&packed);
    });
}

template <class Plain>
void unpack(benchmark::State& state) {
    auto const plain = filled<Plain>();
    Form<Plain> packed{plain};
    measure(state, packed, [&] {
        Plain const unpacked = packed;
        benchmark::DoNotOptimize(&unpacked);
    });
}

/// What the transport does on top: the table's walk into network byte order, and back.
template <class Plain>
void encode(benchmark::State& state) {
    Form<Plain> packed{filled<Plain>()};
    desktop::Bytes wire;
    measure(state, packed, [&] {
        wire.clear();
        desktop::encodeRecord(*sound::PackedTraits<Plain>::kTable, &packed, kLimit, wire);
    });
}

template <class Plain>
void decode(benchmark::State& state) {
    auto const& table = *sound::PackedTraits<Plain>::kTable;
    Form<Plain> const packed{filled<Plain>()};
    desktop::Bytes wire;
    desktop::encodeRecord(table, &packed, kLimit, wire);
    desktop::Bytes record;
    measure(state, wire, [&] {
        if (desktop::decodeRecord(table, wire, record) != nullptr) state.SkipWithError("malformed");
    });
}

#define AUDVIK_RECORD_BENCHMARK(RECORD) \
    BENCHMARK(bareCopy<sound::RECORD>); \
    BENCHMARK(pack<sound::RECORD>);     \
    BENCHMARK(unpack<sound::RECORD>);   \
    BENCHMARK(encode<sound::RECORD>);   \
    BENCHMARK(decode<sound::RECORD>)

AUDVIK_RECORD_BENCHMARK(soundParams_t);
AUDVIK_RECORD_BENCHMARK(soundDap_t);
AUDVIK_RECORD_BENCHMARK(soundDTSVirtualXParams_t);

// Protocol Buffers: message and buffer are used again.

template <class Plain, class Message>
void writeProtobuf(benchmark::State& state) {
    auto plain = filled<Plain>();
    Message message;
    std::string bytes;
    measure(state, plain, [&] {
        bench::copyFields(plain, message);
        message.SerializeToString(&bytes);
    });
}

template <class Plain, class Message>
void readProtobuf(benchmark::State& state) {
    Message message;
    bench::copyFields(filled<Plain>(), message);
    std::string bytes = message.SerializeAsString();
    measure(state, bytes, [&] {
        message.ParseFromString(bytes);
        Plain plain;
        bench::copyFields(message, plain);
        benchmark::DoNotOptimize(&plain);
    });
}

// FlatBuffers: a struct is its own bytes; it has no strings.

template <class Plain, class Struct>
void writeFlatBuffers(benchmark::State& state) {
    auto plain = filled<Plain>();
    Struct bytes;
    measure(state, plain, [&] {
        bytes = bench::makeStruct(plain);
        benchmark::DoNotOptimize(&bytes);
    });
}

template <class Plain, class Struct>
void readFlatBuffers(benchmark::State& state) {
    Struct bytes = bench::makeStruct(filled<Plain>());
    measure(state, bytes, [&] {
        Plain plain;
        bench::copyFields(bytes, plain);
        benchmark::DoNotOptimize(&plain);
    });
}

// MessagePack: a record is an array of its members.

template <class Type>
void toMsgpack(msgpack::packer<msgpack::sbuffer>& to, Type const& value) {
    if constexpr (Record<Type>) {
        to.pack_array(sound::packing::LayoutOf<Type>::kCount);
        forEachMember(value, [&to](auto const& member) { toMsgpack(to, member); });
    } else {
        to.pack(value);
    }
}

template <class Type>
void fromMsgpack(msgpack::object const& from, Type& value) {
    if constexpr (Record<Type>) {
        auto const* next = from.via.array.ptr;
        forEachMember(value, [&next](auto& member) { fromMsgpack(*next++, member); });
    } else {
        from.convert(value);
    }
}

template <class Plain>
void writeMsgpack(benchmark::State& state) {
    auto plain = filled<Plain>();
    msgpack::sbuffer bytes;
    measure(state, plain, [&] {
        bytes.clear();
        msgpack::packer packer(bytes);
        toMsgpack(packer, plain);
    });
}

template <class Plain>
void readMsgpack(benchmark::State& state) {
    msgpack::sbuffer bytes;
    msgpack::packer packer(bytes);
    toMsgpack(packer, filled<Plain>());
    measure(state, bytes, [&] {
        auto const handle = msgpack::unpack(bytes.data(), bytes.size());
        Plain plain;
        fromMsgpack(handle.get(), plain);
        benchmark::DoNotOptimize(&plain);
    });
}

// cereal: its binary archive, on a stream that allocates nothing.

class FixedBuffer : public std::streambuf {
public:
    FixedBuffer() { rewind(); }
    void rewind() {
        setp(bytes_.data(), bytes_.data() + bytes_.size());
        setg(bytes_.data(), bytes_.data(), bytes_.data() + bytes_.size());
    }

private:
    std::array<char, 4096> bytes_;
};

template <class Plain>
void writeCereal(benchmark::State& state) {
    auto plain = filled<Plain>();
    FixedBuffer buffer;
    std::ostream stream(&buffer);
    measure(state, plain, [&] {
        buffer.rewind();
        cereal::BinaryOutputArchive archive(stream);
        archive(plain);
    });
}

template <class Plain>
void readCereal(benchmark::State& state) {
    FixedBuffer buffer;
    std::iostream stream(&buffer);
    cereal::BinaryOutputArchive{stream}(filled<Plain>());
    measure(state, buffer, [&] {
        buffer.rewind();
        cereal::BinaryInputArchive archive(stream);
        Plain plain;
        archive(plain);
        benchmark::DoNotOptimize(&plain);
    });
}

#define AUDVIK_ALTERNATIVES(RECORD)                            \
    BENCHMARK(writeProtobuf<sound::RECORD, bench_pb::RECORD>); \
    BENCHMARK(readProtobuf<sound::RECORD, bench_pb::RECORD>);  \
    BENCHMARK(writeMsgpack<sound::RECORD>);                    \
    BENCHMARK(readMsgpack<sound::RECORD>);                     \
    BENCHMARK(writeCereal<sound::RECORD>);                     \
    BENCHMARK(readCereal<sound::RECORD>)

AUDVIK_ALTERNATIVES(soundParams_t);
AUDVIK_ALTERNATIVES(soundDap_t);
AUDVIK_ALTERNATIVES(soundDTSVirtualXParams_t);
BENCHMARK(writeFlatBuffers<sound::soundParams_t, bench_fb::soundParams_t>);
BENCHMARK(readFlatBuffers<sound::soundParams_t, bench_fb::soundParams_t>);
BENCHMARK(writeFlatBuffers<sound::soundDap_t, bench_fb::soundDap_t>);
BENCHMARK(readFlatBuffers<sound::soundDap_t, bench_fb::soundDap_t>);

}  // namespace

// Where cereal looks for it.
namespace sound {
template <class Archive, packing::Record Plain>
void serialize(Archive& archive, Plain& plain) {
    forEachMember(plain, [&archive](auto& member) { archive(member); });
}
}  // namespace sound
