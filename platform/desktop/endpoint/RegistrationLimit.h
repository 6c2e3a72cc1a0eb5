// How often a service takes in clients that it does not know.
#pragma once

#include <algorithm>
#include <cstddef>

#include "TimePoint.h"

namespace desktop {

/// Lets some through at once, and then so many a second.
class RegistrationLimit {
public:
    RegistrationLimit(std::size_t atOnce, std::size_t perSecond)
        : most_(static_cast<double>(atOnce)),
          perSecond_(static_cast<double>(perSecond)),
          left_(most_) {}

    /// @return whether one more may come in now
    bool take(TimePoint now) {
        std::chrono::duration<double> const passed = now - before_;
        before_ = now;
        left_ = std::min(most_, left_ + passed.count() * perSecond_);
        if (left_ < 1) return false;
        left_ -= 1;
        return true;
    }

private:
    double const most_;
    double const perSecond_;
    double left_;
    TimePoint before_;
};

}  // namespace desktop
