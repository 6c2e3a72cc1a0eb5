// A message's arguments, of any bytes, through tables, packed forms and JSON, and back.
#include <cerrno>
#include <cstdlib>
#include <iterator>

#include "record_json.h"
#include "RecordCodec.h"
#include "sound/message_records.h"

namespace {

using desktop::Bytes;
using sound::MessageId;

/// What is accepted has one form only on the wire.
Bytes encode(cspEndianTable_t const& table, void const* record) {
    Bytes wire;
    if (desktop::encodeRecord(table, record, std::size_t{1} << 20, wire) != 0) std::abort();
    Bytes cut;
    auto const limit = wire.size() / 2;
    auto const expected = limit < wire.size() ? -EMSGSIZE : 0;
    if (desktop::encodeRecord(table, record, limit, cut) != expected) std::abort();
    return wire;
}

template <class Record, class... Types>
Bytes pack(cspEndianTable_t const& table, std::tuple<Types...> const& arguments) {
    Record record;
    if (!std::apply([&](auto const&... each) { return record.pack(each...); }, arguments)) {
        std::abort();
    }
    return encode(table, record.data());
}

template <class... Types>
void throughJson(std::tuple<Types...> const& arguments) {
    auto const toJson = [](auto const&... each) { return tools::argumentsToJson(each...); };
    auto const json = std::apply(toJson, arguments);
    auto const reread = tools::argumentsFromJson<Types...>(tools::parseJson(tools::toText(json)));
    if (std::apply(toJson, reread) != json) std::abort();
}

template <MessageId kId>
void receive(std::span<std::uint8_t> wire) {
    using Message = sound::Message<kId>;
    auto const& table = *Message::kTable;
    Bytes record;
    if (desktop::decodeRecord(table, wire, record) != nullptr) return;
    auto const again = encode(table, record.data());
    if (!std::equal(again.begin(), again.end(), wire.begin(), wire.end())) std::abort();

    auto const unpack = [](Bytes const& packed) {
        return Message::Record::unpack(packed.data(), [](auto const&... each) {
            return typename Message::Arguments(each...);
        });
    };
    auto const arguments = unpack(record);
    throughJson(arguments);
    // A flag's word may have been neither 0 nor 1, and is now.
    auto packed = pack<typename Message::Record>(table, arguments);
    if (desktop::decodeRecord(table, packed, record) != nullptr) std::abort();
    if (pack<typename Message::Record>(table, unpack(record)) != packed) std::abort();
}

constexpr void (*kReceivers[])(std::span<std::uint8_t>) = {
#define AUDVIK_COMMAND(NAME, ...) &receive<MessageId::cmd##NAME>,
#define AUDVIK_NOTIFICATION(NAME, ...) &receive<MessageId::on##NAME##Notify>,
#include "sound/messages.def"
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size == 0) return 0;
    Bytes wire(data + 1, data + size);
    // The first byte chooses the message.
    kReceivers[data[0] % std::size(kReceivers)](wire);
    return 0;
}
