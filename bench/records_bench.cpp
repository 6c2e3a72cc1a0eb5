// What packing and unpacking cost, beside a bare copy of as many bytes.

#include <benchmark/benchmark.h>

#include <array>
#include <cstring>

#include "sound/packing.h"
#include "sound/records.h"

namespace {

template <class Plain>
using Form = typename sound::PackedTraits<Plain>::Form;

template <class Plain>
void pack(benchmark::State& state) {
    Plain plain{};
    Form<Plain> packed;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&plain);
        packed = plain;
        benchmark::DoNotOptimize(&packed);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sizeof packed));
}

template <class Plain>
void unpack(benchmark::State& state) {
    Form<Plain> packed{Plain{}};
    for (auto _ : state) {
        benchmark::DoNotOptimize(&packed);
        Plain const plain = packed;
        benchmark::DoNotOptimize(&plain);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sizeof packed));
}

template <class Plain>
void copyAsManyBytes(benchmark::State& state) {
    std::array<unsigned char, sizeof(Form<Plain>)> from{};
    std::array<unsigned char, sizeof(Form<Plain>)> to;
    for (auto _ : state) {
        benchmark::DoNotOptimize(&from);
        std::memcpy(to.data(), from.data(), to.size());
        benchmark::DoNotOptimize(&to);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(to.size()));
}

#define AUDVIK_RECORD_BENCHMARK(RECORD)        \
    BENCHMARK(copyAsManyBytes<sound::RECORD>); \
    BENCHMARK(pack<sound::RECORD>);            \
    BENCHMARK(unpack<sound::RECORD>)

AUDVIK_RECORD_BENCHMARK(soundVolumeParams_t);
AUDVIK_RECORD_BENCHMARK(soundParamsInfo_t);
AUDVIK_RECORD_BENCHMARK(DAPParamsArrayValue_t);
AUDVIK_RECORD_BENCHMARK(soundDap_t);

}  // namespace
