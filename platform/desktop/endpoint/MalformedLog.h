// Counts what came in and could not be used, and says so once in a while.
#pragma once

#include <cstdint>
#include <mutex>

#include "Address.h"
#include "TimePoint.h"

namespace desktop {

class MalformedLog {
public:
    /// Counts a datagram that is dropped. Any thread.
    /// @param reason  "shorter than a header"
    void count(char const* reason, Address const& sender, TimePoint now);

private:
    std::mutex mutex_;
    std::uint32_t unreported_ = 0;
    TimePoint quietUntil_;
};

}  // namespace desktop
