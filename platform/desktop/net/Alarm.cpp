#include "Alarm.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace desktop {

Alarm::Alarm() : timer_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC), "no timer to be had") {}

// The steady clock is the system's monotonic one.
void Alarm::set(TimePoint when) {
    using std::chrono::nanoseconds;
    using std::chrono::seconds;
    // A time of 0 would stop it.
    auto const time =
        std::max(std::chrono::duration_cast<nanoseconds>(when.time_since_epoch()), nanoseconds(1));
    auto const whole = std::chrono::floor<seconds>(time);
    itimerspec due{};
    due.it_value.tv_sec = static_cast<decltype(due.it_value.tv_sec)>(whole.count());
    due.it_value.tv_nsec = static_cast<decltype(due.it_value.tv_nsec)>((time - whole).count());
    timerfd_settime(timer_.number(), TFD_TIMER_ABSTIME, &due, nullptr);
}

void Alarm::wait() const {
    std::uint64_t times;
    [[maybe_unused]] auto const size = ::read(timer_.number(), &times, sizeof times);
}

}  // namespace desktop
