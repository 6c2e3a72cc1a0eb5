#include "BlockTimes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sound::pipeline {

namespace {

/// How fast the times follow, in Hz: a block that is 10 ms late moves those after it by 0.1 ms, and
/// what is wrong with the pace is made good in some ten seconds.
constexpr double kBandwidth = 0.05;
/// By which part of itself a block may be stretched or shrunk for that.
constexpr double kMostCorrection = 0.1;
/// Who tells a wrong rate gets right times all the same.
constexpr double kSlowest = 2;
constexpr double kFastest = 0.5;
/// What comes so late was not played without a pause.
constexpr BlockTimes::Nanoseconds kPause = 500'000'000;

}  // namespace

BlockTimes::Place BlockTimes::place(Nanoseconds arrival, Nanoseconds nominal) {
    auto const length = static_cast<double>(nominal);
    auto const late = static_cast<double>(arrival - end_) - length * pace_;
    if (!runs_ || late > kPause) {
        auto const begin = std::max(end_, arrival - nominal);
        runs_ = true;
        end_ = begin + nominal;
        return {begin, nominal, false};
    }
    double const step = 2 * std::numbers::pi * kBandwidth * length / 1e9;
    double const correction = std::clamp(std::numbers::sqrt2 * step * late,
                                         -length * kMostCorrection, length * kMostCorrection);
    auto const duration = std::llround(length * pace_ + correction);
    pace_ = std::clamp(pace_ + step * step * late / length, kFastest, kSlowest);
    auto const begin = end_;
    end_ += duration;
    return {begin, duration, true};
}

}  // namespace sound::pipeline
