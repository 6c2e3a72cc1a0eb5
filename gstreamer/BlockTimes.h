/// @file
/// When blocks of sound were played.
#pragma once

#include <cstdint>

namespace sound::pipeline {

/// Tells from the times at which blocks arrive when they were played. Arrivals vary by
/// milliseconds, while each block begins where the one before it ended; and the clock that they are
/// measured with runs a little faster or slower than the one that plays them. So the times told
/// follow the arrivals as a second-order loop does: without a gap or an overlap from block to
/// block, and without drifting away.
class BlockTimes {
public:
    using Nanoseconds = std::int64_t;

    struct Place {
        Nanoseconds begin;
        Nanoseconds duration;
        bool follows;  ///< begins where the one before it ended
    };

    /// @param earliest  nothing was played before
    explicit BlockTimes(Nanoseconds earliest) : end_(earliest) {}

    /// @param arrival  when the block has come, which is taken for its end
    /// @param nominal  how long it would play at its format's rate
    Place place(Nanoseconds arrival, Nanoseconds nominal);

    /// The next block does not follow the one before it.
    void restart() { runs_ = false; }

private:
    bool runs_ = false;
    Nanoseconds end_;  ///< of the last block
    double pace_ = 1;  ///< how long a second of sound really takes
};

}  // namespace sound::pipeline
