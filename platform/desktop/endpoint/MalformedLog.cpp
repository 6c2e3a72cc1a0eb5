#include "MalformedLog.h"

#include "log.h"

namespace desktop {

void MalformedLog::count(char const* reason, Address const& sender, TimePoint now) {
    std::lock_guard const lock(mutex_);
    ++unreported_;
    if (now < quietUntil_) return;
    quietUntil_ = now + std::chrono::seconds(1);
    logLine(kFrameWarning, "%u datagram(s) dropped, the latest from %s: %s", unreported_,
            sender.text().data(), reason);
    unreported_ = 0;
}

}  // namespace desktop
