// What the far receiver costs: a second of noise and of many bursts, by vector width; the pilot map
// and, for a few of its cells, its definition; a candidate by its number of copies.
#include <benchmark/benchmark.h>

#include <memory>
#include <random>
#include <vector>

#include "far/far_search.h"
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

void receive(benchmark::State &state, const std::vector<float_complex> &samples)
{
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both, stages_of(state));
    std::size_t at = 0, done = 0;
    for (auto _ : state) {
        for (std::size_t n = 0; n < kSecond; n += kTick, at += kTick) {
            if (at + kTick > samples.size()) at = 0;
            receiver->put(std::span{samples}.subspan(at, kTick));
            for (far_message heard; receiver->take(heard);) benchmark::DoNotOptimize(heard);
        }
        ++done;
    }
    state.SetLabel(stages_of(state).name);
    state.counters["trials/s"] =
        double(receiver->trials().trials()) / double(std::max<std::size_t>(done, 1));
}

void BM_SecondOfNoise(benchmark::State &state)
{
    static const auto samples = noise(60);
    receive(state, samples);
}
BENCHMARK(BM_SecondOfNoise)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

void BM_SecondOfManyBursts(benchmark::State &state)
{
    static const auto samples =
        bench::baseband_of(bench::make_mixed_scene(/*senders=*/12, /*seed=*/1).samples);
    receive(state, samples);
}
BENCHMARK(BM_SecondOfManyBursts)->Arg(4)->Arg(8)->Unit(benchmark::kMillisecond);

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
