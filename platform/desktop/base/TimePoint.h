// Points in time, as the transport reckons.
#pragma once

#include <chrono>

namespace desktop {

using TimePoint = std::chrono::steady_clock::time_point;

}  // namespace desktop
