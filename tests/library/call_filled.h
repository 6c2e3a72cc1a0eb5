#pragma once

#include <tuple>
#include <type_traits>

#include "fields.h"
#include "sound/ServiceInterface.h"

/// Calls a command with an argument that is filled for the pass.
template <class... Arguments>
std::int32_t callFilled(std::int32_t (sound::ServiceInterface::*command)(
                            frame::MsgIds&, frame::TransportInfo const&, Arguments...),
                        sound::ServiceInterface& service, frame::MsgIds& msgIds, unsigned pass) {
    std::tuple<std::decay_t<Arguments>...> values;
    return std::apply(
        [&](auto&... value) {
            [[maybe_unused]] unsigned n = 0;
            (fill(value, pass, n), ...);
            return (service.*command)(msgIds, frame::TransportInfo{{pass}}, value...);
        },
        values);
}
