/// @file
/// The message list as types: for each message its name, its arguments and its table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <tuple>
#include <utility>

#include "sound/message_records.h"

namespace sound::service {

/// What a command has to do with the notification that it brings about, in the list's words.
enum class Relation : std::uint8_t { reports, answers, streams };

template <MessageId kId>
struct Message;

#define AUDVIK_MESSAGE(NAME, RECORD, ...)                                              \
    template <>                                                                        \
    struct Message<MessageId::NAME> {                                                  \
        static constexpr char const* kName = #NAME;                                    \
        static constexpr cspEndianTable_t const* kTable = &__csp_EndianTable_##RECORD; \
        using Arguments = std::tuple<__VA_ARGS__>;                                     \
    };
#define AUDVIK_COMMAND(NAME, ...) \
    AUDVIK_MESSAGE(cmd##NAME, soundMsgCmd##NAME##_t __VA_OPT__(, ) __VA_ARGS__)
#define AUDVIK_NOTIFICATION(NAME, RELATION, COMMAND, ...) \
    AUDVIK_MESSAGE(on##NAME##Notify, soundMsgOn##NAME##Notify_t __VA_OPT__(, ) __VA_ARGS__)
#include "sound/messages.def"
#undef AUDVIK_MESSAGE

template <MessageId kId>
using ArgumentsOf = typename Message<kId>::Arguments;

/// Reads a message's arguments from its record.
template <class... Types>
void unpackArguments(void const* record, std::tuple<Types...>& arguments) {
    [[maybe_unused]] auto offset = packing::Layout<packing::TypeList<Types...>>::kPacked.begin();
    std::apply(
        [&](auto&... each) {
            (packing::unpack(static_cast<unsigned char const*>(record) + *offset++, each), ...);
        },
        arguments);
}

/// A message's record with the string copies that it refers to.
template <class... Types>
class PackedArguments {
public:
    // Delegates, so that the destructor frees the copies made before one fails.
    explicit PackedArguments(std::tuple<Types...> const& arguments) : PackedArguments() {
        [[maybe_unused]] auto offset = Fields::kPacked.begin();
        std::apply(
            [&](auto const&... each) {
                (packing::pack(record_.bytes.data() + *offset++, each), ...);
            },
            arguments);
    }
    ~PackedArguments() {
        packing::freeStrings(packing::TypeList<Types...>{}, record_.bytes.data());
    }
    PackedArguments(PackedArguments const&) = delete;
    PackedArguments& operator=(PackedArguments const&) = delete;

    void const* data() const { return record_.bytes.data(); }

private:
    using Fields = packing::Layout<packing::TypeList<Types...>>;

    PackedArguments() = default;

    MessageRecord<Types...> record_;
};

}  // namespace sound::service
