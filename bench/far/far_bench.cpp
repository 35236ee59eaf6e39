// What the far receiver costs: a second of noise and of many bursts, by vector width; the pilot map
// and, for a few of its cells, its definition; a candidate by its number of copies.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <random>
#include <vector>

#include "far/busy_sounds.h"
#include "far/far_search.h"
#include "far/own_time.h"
#include "link/everyday_sounds.h"
#include "receiver/far/far_receiver.h"
#include "receiver/far/path_odds.h"
#include "receiver/far/reference/pilot_energy.h"

namespace {

using namespace tonelink;

constexpr std::size_t kSecond = 4410; // baseband samples
constexpr std::size_t kTick = 44;

const map_stages &stages_of(const benchmark::State &state)
{
    return state.range(0) == 4 ? lanes4::far_map_stages : fastest_map_stages();
}

std::vector<float_complex> noise(std::size_t seconds)
{
    std::mt19937_64 random{1};
    std::normal_distribution<float> normal;
    std::vector<float_complex> samples(seconds * kSecond);
    for (auto &sample : samples) sample = {normal(random), normal(random)};
    return samples;
}

/// Half a minute of a source that gives 16 bits a second at a time.
template <class Source> std::vector<float_complex> sound_of()
{
    Source source{/*seed=*/1};
    bench::sound all;
    for (int second = 0; second < 30; ++second) {
        const auto block = source.next();
        all.insert(all.end(), block.begin(), block.end());
    }
    return bench::baseband_of(all);
}

std::vector<float_complex> many_bursts()
{
    return bench::baseband_of(bench::make_mixed_scene(/*senders=*/12, /*seed=*/1).samples);
}

/// Beside the mean: how much the worst of the blocks of 10 ms took, and 99 of 100.
void receive(benchmark::State &state, const std::vector<float_complex> &samples)
{
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both, stages_of(state));
    std::vector<double> ticks;
    std::size_t at = 0, done = 0;
    for (auto _ : state) {
        for (std::size_t n = 0; n < kSecond; n += kTick, at += kTick) {
            if (at + kTick > samples.size()) at = 0;
            const double begun = bench::own_microseconds();
            receiver->put(std::span{samples}.subspan(at, kTick));
            ticks.push_back(bench::own_microseconds() - begun);
            for (far_message heard; receiver->take(heard);) benchmark::DoNotOptimize(heard);
        }
        ++done;
    }
    state.SetLabel(stages_of(state).name);
    const auto per_second = [&](std::int64_t count) {
        return double(count) / double(std::max<std::size_t>(done, 1));
    };
    state.counters["trials/s"] = per_second(receiver->trials().trials());
    std::ranges::sort(ticks);
    state.counters["us_99"] = ticks[ticks.size() * 99 / 100];
    state.counters["us_most"] = ticks.back();
}

template <std::vector<float_complex> (*Make)()> void BM_Second(benchmark::State &state)
{
    static const auto samples = Make();
    receive(state, samples);
}
std::vector<float_complex> minute_of_noise() { return noise(60); }
#define TONELINK_SECOND(NAME, MAKE)                                                                \
    BENCHMARK(BM_Second<MAKE>)                                                                     \
        ->Name("BM_SecondOf" NAME)                                                                 \
        ->Arg(4)                                                                                   \
        ->Arg(8)                                                                                   \
        ->Unit(benchmark::kMillisecond)
TONELINK_SECOND("Noise", minute_of_noise);
TONELINK_SECOND("ManyBursts", many_bursts);
TONELINK_SECOND("Sweeps", sound_of<bench::sweep_source>);
TONELINK_SECOND("KeyedTones", sound_of<bench::keyed_source>);
TONELINK_SECOND("Speech", sound_of<bench::speech_source>);
TONELINK_SECOND("Music", sound_of<bench::music_source>);
#undef TONELINK_SECOND

void BM_SecondOfDetection(benchmark::State &state)
{
    static const auto samples = noise(10);
    const auto detector = std::make_unique<burst_detector>(stages_of(state));
    std::size_t at = 0;
    for (auto _ : state) {
        for (std::size_t n = 0; n < kSecond; ++n) detector->put(samples[at++ % samples.size()]);
        for (detection found; detector->take(found);) benchmark::DoNotOptimize(found);
    }
    state.SetLabel(stages_of(state).name);
}
BENCHMARK(BM_SecondOfDetection)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_SecondOfPilotMap(benchmark::State &state)
{
    static const auto samples = noise(10);
    const auto map = std::make_unique<pilot_map>(stages_of(state));
    std::size_t at = 0;
    for (auto _ : state)
        for (std::size_t n = 0; n < kSecond; ++n)
            benchmark::DoNotOptimize(map->put(samples[at++ % samples.size()]));
    state.SetLabel(stages_of(state).name);
}
BENCHMARK(BM_SecondOfPilotMap)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

/// The map has 185220 cells a second.
void BM_CellByDefinition(benchmark::State &state)
{
    static const auto samples = noise(10);
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(
            reference::pilot_energy(samples, double(at++ % (8 * kSecond)) + 0.5, 375e-6));
}
BENCHMARK(BM_CellByDefinition)->Unit(benchmark::kMicrosecond);

/// Both lengths to the end, lists of paths included, as if all were worth it.
void BM_Candidate(benchmark::State &state)
{
    const auto copies = static_cast<std::size_t>(state.range(0));
    static const auto samples = noise(10);
    const auto sound = std::make_unique<far_sound>();
    for (const float_complex sample : samples) sound->put(sample);
    const cell_reader reader;
    const auto decoder = std::make_unique<burst_decoder>();
    const auto likely = std::make_unique<likely_paths>();
    copy_set set;
    set.add_write({double(15 * kSecond) / 4, 0}, std::min<std::size_t>(copies, 5));
    if (copies > 5) set.add_write({double(15 * kSecond) / 4 + 13000, 0}, copies - 5);
    for (auto _ : state) {
        decoder->begin(set);
        while (!decoder->prepare(reader, *sound)) {
        }
        for (const std::size_t bits : {32u, 48u}) {
            decoder->look(bits);
            decoder->look_again();
            decoder->look_again();
            likely->begin(decoder->values(), 0.001, decoder->log_sum());
            while (likely->find(128)) {
            }
        }
    }
}
BENCHMARK(BM_Candidate)->Arg(1)->Arg(2)->Arg(5)->Arg(10)->Unit(benchmark::kMillisecond);

} // namespace
