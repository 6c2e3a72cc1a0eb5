// A message on its way.
#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "bytes.h"

namespace desktop {

/// A message's bytes, its header and record in their form on the wire. All who send it share it;
/// the last of them gives it back to be used again, so that nothing is allocated for a message
/// once there have been some.
struct PayloadBuffer {
    Bytes bytes;
    mutable std::atomic<std::uint32_t> references = 0;
};

using Payload = boost::intrusive_ptr<PayloadBuffer const>;

/// @return a buffer without bytes, to be filled before others share it
/// @throws std::bad_alloc
boost::intrusive_ptr<PayloadBuffer> newPayload();

void intrusive_ptr_add_ref(PayloadBuffer const* buffer);
void intrusive_ptr_release(PayloadBuffer const* buffer);

}  // namespace desktop
