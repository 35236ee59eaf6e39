// What a burst costs: the whole of it and each of its stages, and where a stage has a fast form,
// the plain one beside it, so that one run gives the ratio.
#include <benchmark/benchmark.h>

#include <array>
#include <vector>

#include "modem/burst_generator.h"
#include "modem/channel_encoder.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/modulator.h"
#include "modem/plain/band_shift.h"
#include "modem/plain/interpolator.h"
#include "tonelink/modem.h"

namespace {

using namespace tonelink;

constexpr double kBurstSeconds = static_cast<double>(kBurstSamples) / 44100;

std::vector<uint8_t> message_of(std::size_t bits)
{
    std::vector<uint8_t> message;
    for (std::size_t i = 0; i < bits; ++i) message.push_back(i * i % 7 < 3);
    return message;
}

/// One burst as it is before a stage, and a shifter for it.
struct workbench {
    channel_bits channel = encode_channel(message_of(48));
    frame_samples frame = modulate_symbols(channel);
    std::array<int16_t, kBurstSamples> burst{};
    BandShiftInfo shifter{};

    workbench()
    {
        interpolate_by_10(frame, burst);
        openBandShift(&shifter, -kBandShiftHz);
    }
    workbench(const workbench &) = delete;
    workbench &operator=(const workbench &) = delete;
    ~workbench() { closeBandShift(&shifter); }
};

/// The whole way by the plain forms.
void make_burst_plainly(std::span<const uint8_t> message, BandShiftInfo &shifter, burst_span burst)
{
    frame_samples frame = modulate_symbols(encode_channel(message));
    ramp_edges(frame);
    plain::interpolate_by_10(frame, burst);
    mirror_spectrum(burst);
    plain::shift_band(burst.data(), static_cast<int32_t>(burst.size()), shifter);
    normalise_peak(burst);
}

void count_real_time(benchmark::State &state)
{
    state.counters["real_time"] = benchmark::Counter(
        kBurstSeconds, benchmark::Counter::kIsIterationInvariantRate, benchmark::Counter::kIs1000);
}

void whole_burst(benchmark::State &state)
{
    workbench bench;
    const auto message = message_of(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        make_burst(message, true, bench.shifter, bench.burst);
        benchmark::DoNotOptimize(bench.burst.data());
        benchmark::ClobberMemory();
    }
    count_real_time(state);
}
BENCHMARK(whole_burst)->Arg(32)->Arg(48);

void whole_burst_plain(benchmark::State &state)
{
    workbench bench;
    const auto message = message_of(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        make_burst_plainly(message, bench.shifter, bench.burst);
        benchmark::DoNotOptimize(bench.burst.data());
        benchmark::ClobberMemory();
    }
    count_real_time(state);
}
BENCHMARK(whole_burst_plain)->Arg(32)->Arg(48);

void stage_channel_encoder(benchmark::State &state)
{
    const auto message = message_of(48);
    for (auto _ : state) benchmark::DoNotOptimize(encode_channel(message));
}
BENCHMARK(stage_channel_encoder);

void stage_modulator(benchmark::State &state)
{
    const workbench bench;
    for (auto _ : state) benchmark::DoNotOptimize(modulate_symbols(bench.channel));
}
BENCHMARK(stage_modulator);

/// A stage from the frame to the burst.
template <void (*interpolate)(const frame_samples &, burst_span)>
void stage_interpolation(benchmark::State &state)
{
    workbench bench;
    for (auto _ : state) {
        interpolate(bench.frame, bench.burst);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(stage_interpolation<interpolate_by_10>)->Name("stage_interpolation");
BENCHMARK(stage_interpolation<plain::interpolate_by_10>)->Name("stage_interpolation_plain");

void shift_fast(int16_t *samples, int32_t count, BandShiftInfo &info)
{
    makeBandShift(samples, count, &info);
}

template <void (*shift)(int16_t *, int32_t, BandShiftInfo &)>
void stage_band_shift(benchmark::State &state)
{
    workbench bench;
    for (auto _ : state) {
        shift(bench.burst.data(), kBurstSamples, bench.shifter);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(stage_band_shift<shift_fast>)->Name("stage_band_shift");
BENCHMARK(stage_band_shift<plain::shift_band>)->Name("stage_band_shift_plain");

/// A stage that works on the burst in place.
template <void (*stage)(burst_span)> void stage_in_place(benchmark::State &state)
{
    workbench bench;
    for (auto _ : state) {
        stage(bench.burst);
        benchmark::ClobberMemory();
    }
}
BENCHMARK(stage_in_place<mirror_spectrum>)->Name("stage_mirror");
BENCHMARK(stage_in_place<normalise_peak>)->Name("stage_normalisation");

} // namespace
