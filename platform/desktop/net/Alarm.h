// An alarm clock that one thread sleeps by and others set.
#pragma once

#include "Descriptor.h"
#include "TimePoint.h"

namespace desktop {

/// Setting it wakes nobody, so that it can be set ahead for every message.
class Alarm {
public:
    /// @throws std::system_error when the system has no timer left
    Alarm();

    /// Has it go off then, or at once, and not when it was to go off before. Any thread.
    void set(TimePoint when);

    /// Sleeps until it goes off.
    void wait() const;

    /// Becomes readable when it goes off.
    int descriptor() const { return timer_.number(); }

private:
    Descriptor timer_;
};

}  // namespace desktop
