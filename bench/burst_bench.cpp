// What a burst of 48 bits costs as a transmission plays it, output filter included: the whole of it
// and each of its stages, by their plain forms and in each width of vectors, in one run.
#include <benchmark/benchmark.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "common/high_pass.h"
#include "common/plain/high_pass.h"
#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/channel_encoder.h"
#include "modem/interpolator.h"
#include "modem/modulator.h"
#include "modem/plain/band_shift.h"
#include "modem/plain/burst_generator.h"
#include "modem/plain/interpolator.h"
#include "modem/plain/modulator.h"
#include "modem/spectrum_mirror.h"
#include "tonelink/modem.h"

namespace {

using namespace tonelink;

std::vector<uint8_t> message()
{
    std::vector<uint8_t> bits;
    for (std::size_t i = 0; i < 48; ++i) bits.push_back(i * i % 7 < 3);
    return bits;
}

/// A burst on its way, and a shifter for it.
struct workbench {
    std::vector<uint8_t> bits = message();
    channel_bits channel = encode_channel(bits);
    frame_samples frame = modulate_symbols(channel);
    std::array<int16_t, kBurstSamples> burst{};
    BandShiftInfo shifter{};

    workbench()
    {
        openBandShift(&shifter, -kBandShiftHz);
        make_burst(bits, true, shifter, burst);
    }
    workbench(const workbench &) = delete;
    workbench &operator=(const workbench &) = delete;
    ~workbench() { closeBandShift(&shifter); }
};

void add(const std::string &name, const std::function<void(workbench &)> &work)
{
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State &state) {
        workbench bench;
        for (auto _ : state) {
            work(bench);
            benchmark::ClobberMemory();
        }
        state.counters["real_time"] =
            benchmark::Counter(kBurstSeconds, benchmark::Counter::kIsIterationInvariantRate);
    })->Unit(benchmark::kMicrosecond);
}

void add_plain_forms()
{
    add("burst/plain", [](workbench &b) {
        plain::make_burst(b.bits, true, b.shifter, b.burst);
        plain::high_pass(b.burst);
    });
    add("stage modulation/plain",
        [](workbench &b) { benchmark::DoNotOptimize(plain::modulate_symbols(b.channel)); });
    add("stage interpolation/plain",
        [](workbench &b) { plain::interpolate_by_10(b.frame, b.burst); });
    add("stage mirroring/plain", [](workbench &b) { plain::mirror_spectrum(b.burst); });
    add("stage band shift/plain",
        [](workbench &b) { plain::shift_band(b.burst.data(), kBurstSamples, b.shifter); });
    add("stage normalisation/plain", [](workbench &b) { plain::normalise_peak(b.burst); });
    add("stage output filter/plain", [](workbench &b) {
        auto burst = b.burst; // filtered again and again it would fade
        plain::high_pass(burst);
    });
}

void add_forms(const vector_stages &stages)
{
    const std::string width = std::string{"/"} + stages.name;
    add("burst" + width, [&](workbench &b) {
        make_burst(b.bits, true, b.shifter, b.burst, stages);
        high_pass(b.burst, stages);
    });
    add("stage modulation" + width,
        [&](workbench &b) { benchmark::DoNotOptimize(modulate_symbols(b.channel, stages)); });
    add("stage interpolation" + width,
        [&](workbench &b) { interpolate_by_10(b.frame, b.burst, stages); });
    add("stage band shift" + width, [&](workbench &b) { shift_band(b.burst, b.shifter, stages); });
    add("stage normalisation" + width, [&](workbench &b) { normalise_peak(b.burst, stages); });
    add("stage output filter" + width, [&](workbench &b) {
        auto burst = b.burst;
        high_pass(burst, stages);
    });
}

/// Stages that are the same in every width.
void add_common_forms()
{
    add("stage channel coding",
        [](workbench &b) { benchmark::DoNotOptimize(encode_channel(b.bits)); });
    add("stage mirroring", [](workbench &b) { mirror_spectrum(b.burst, 1); });
}

} // namespace

int main(int argc, char **argv)
{
    add_plain_forms();
    for (const vector_stages *stages : available_stages()) add_forms(*stages);
    add_common_forms();
    benchmark::AddCustomContext("a burst lasts", std::to_string(1000 * kBurstSeconds) + " ms");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
