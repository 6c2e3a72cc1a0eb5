#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace tools {

/// Measures what EBU R 128 has people check: true peak and momentary loudness.
class Loudness {
public:
    virtual ~Loudness() = default;

    /// Takes whole frames.
    virtual void add(std::span<std::int16_t const> samples) = 0;

    /// The largest amplitude of the curve through the samples that were added last, 1 being full
    /// scale.
    virtual double truePeak(std::size_t channel) const = 0;

    /// Of the last 400 ms, in LUFS; minus infinity for silence.
    virtual double momentary() const = 0;
};

/// @return null when this program was built without what measures it
std::unique_ptr<Loudness> makeLoudness(std::size_t channels, int rate);

}  // namespace tools
