// A peer that says anything, to a live end of the transport.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "Peer.h"

namespace desktop::fuzz {

/// @param call  the header of the message that the end knows
inline void sayAnything(FuzzedDataProvider& input, test::Peer& peer,
                        frameLmqMessageHeader_t const& call) {
    if (input.ConsumeIntegralInRange(0, 7) == 0) {
        return peer.say(
            input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 80)));
    }
    // Mostly such numbers as a session has at its beginning.
    auto const number = [&input] {
        return input.ConsumeIntegralInRange(0, 15) == 0
                   ? input.ConsumeIntegral<std::uint32_t>()
                   : std::uint32_t{input.ConsumeIntegralInRange<std::uint8_t>(0, 12)};
    };
    auto const session = peer.session + (input.ConsumeIntegralInRange(0, 31) == 0 ? 1 : 0);
    auto const kind = static_cast<Kind>(input.ConsumeIntegralInRange<std::uint8_t>(0, 9));
    if (kind != Kind::kData && static_cast<std::uint8_t>(kind) < 8) {
        return peer.say({kind, session, 0, number(), number()}, {});
    }
    auto content = test::message(call, number());
    if (input.ConsumeIntegralInRange(0, 15) == 0) {
        content.resize(input.ConsumeIntegralInRange<std::size_t>(0, 2 * content.size()));
    }
    peer.say({Kind::kData, session, number(), number(), number()}, content);
}

}  // namespace desktop::fuzz
