#include "Loudness.h"

#include <ebur128.h>

#include <new>

namespace tools {

namespace {

class EbuLoudness : public Loudness {
public:
    EbuLoudness(std::size_t channels, int rate)
        : channels_(channels),
          state_(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(rate),
                              EBUR128_MODE_M | EBUR128_MODE_TRUE_PEAK)) {
        if (state_ == nullptr) throw std::bad_alloc();
    }
    ~EbuLoudness() override { ebur128_destroy(&state_); }
    EbuLoudness(EbuLoudness const&) = delete;
    EbuLoudness& operator=(EbuLoudness const&) = delete;

    void add(std::span<std::int16_t const> samples) override {
        ebur128_add_frames_short(state_, samples.data(), samples.size() / channels_);
    }

    double truePeak(std::size_t channel) const override {
        double peak = 0;
        ebur128_prev_true_peak(state_, static_cast<unsigned>(channel), &peak);
        return peak;
    }

    double momentary() const override {
        double loudness = 0;
        ebur128_loudness_momentary(state_, &loudness);
        return loudness;
    }

private:
    std::size_t channels_;
    ebur128_state* state_;
};

}  // namespace

std::unique_ptr<Loudness> makeLoudness(std::size_t channels, int rate) {
    return std::make_unique<EbuLoudness>(channels, rate);
}

}  // namespace tools
