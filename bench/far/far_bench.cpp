// What the far receiver costs, in one run: half a minute of each sound by the exact method and by
// the far one, by vector width; the parts of the detector, and the map of its energies by its
// definition; a candidate by its number of copies.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "far/busy_sounds.h"
#include "far/far_search.h"
#include "far/own_time.h"
#include "link/everyday_sounds.h"
#include "modem/stream_receiver.h"
#include "modem/vector_stages.h"
#include "receiver/far/far_receiver.h"
#include "receiver/far/path_odds.h"
#include "receiver/far/reference/pilot_energy.h"

namespace {

using namespace tonelink;

constexpr std::size_t kSecond = 4410; // baseband samples
constexpr std::size_t kTick = 44;
constexpr std::size_t kSeconds = 30;
constexpr int kTimes = 5;

/// Half a minute, as it is played and as the far method takes it.
struct heard_sound {
    std::vector<int16_t> audio;
    std::vector<float_complex> baseband;
};

heard_sound hear(const bench::sound &played)
{
    return {bench::to_16_bits(played), bench::baseband_of(played)};
}

template <class Source> heard_sound hear_source()
{
    Source source{/*seed=*/1};
    bench::sound played;
    for (std::size_t second = 0; second < kSeconds; ++second) {
        const auto block = source.next();
        played.insert(played.end(), block.begin(), block.end());
    }
    return hear(played);
}

heard_sound hear_many_bursts()
{
    bench::sound played = bench::make_mixed_scene(/*senders=*/12, /*seed=*/1).samples;
    played.resize(kSeconds * 44100);
    return hear(played);
}

struct named_sound {
    const char *name;
    heard_sound (*make)();
};
constexpr named_sound kSounds[] = {
    {"noise", hear_source<bench::noise_source>},
    {"many bursts", hear_many_bursts},
    {"sweeps", hear_source<bench::sweep_source>},
    {"keyed tones", hear_source<bench::keyed_source>},
    {"like speech", hear_source<bench::speech_source>},
    {"like music", hear_source<bench::music_source>},
};

/// Made when it is first asked for.
const heard_sound &sound_of(const named_sound &sound)
{
    static std::vector<std::pair<const char *, std::unique_ptr<heard_sound>>> made;
    for (const auto &[name, heard] : made)
        if (name == sound.name) return *heard;
    made.emplace_back(sound.name, std::make_unique<heard_sound>(sound.make()));
    return *made.back().second;
}

/// Each block of 10 ms at its fastest: all times do the same work.
void far_method(benchmark::State &state, const named_sound &sound, const map_stages &stages)
{
    const std::span all{sound_of(sound).baseband};
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both, stages);
    std::vector<double> blocks(all.size() / kTick, 1e9);
    for (auto _ : state) {
        receiver->restart();
        for (std::size_t n = 0; n < blocks.size(); ++n) {
            const double begun = bench::own_microseconds();
            receiver->put(all.subspan(n * kTick, kTick));
            blocks[n] = std::min(blocks[n], bench::own_microseconds() - begun);
            for (far_message heard; receiver->take(heard);) benchmark::DoNotOptimize(heard);
        }
    }
    std::ranges::sort(blocks);
    state.counters["seconds"] = double{kSeconds};
    state.counters["most_of_99_percent_us"] = blocks[blocks.size() * 99 / 100];
    state.counters["most_us"] = blocks.back();
    state.counters["memory"] = double{sizeof(far_receiver)};
}

void exact_method(benchmark::State &state, const named_sound &sound, const vector_stages &stages)
{
    constexpr std::size_t kBlock = 441;
    const std::span all{sound_of(sound).audio};
    const auto receiver = std::make_unique<stream_receiver>(stages);
    BandShiftInfo shifter;
    openBandShift(&shifter, kBandShiftHz);
    std::size_t heard = 0;
    for (auto _ : state)
        for (std::size_t at = 0; at < all.size(); at += kBlock)
            receiver->receive(all.subspan(at, std::min(kBlock, all.size() - at)), shifter,
                              message_lengths::both, [&](const heard_message &) { ++heard; });
    closeBandShift(&shifter);
    benchmark::DoNotOptimize(heard);
    state.counters["seconds"] = double{kSeconds};
}

/// A part that takes the baseband of noise, sample by sample.
template <class Part> void part_of_detection(benchmark::State &state, const map_stages &stages)
{
    const auto &samples = sound_of(kSounds[0]).baseband;
    const auto part = std::make_unique<Part>(stages);
    for (auto _ : state)
        for (const float_complex sample : samples) benchmark::DoNotOptimize(part->put(sample));
    state.counters["seconds"] = double{kSeconds};
}

/// A second of the map by its definition: a few hundred of its cells, and as many times as needed.
void direct_form(benchmark::State &state)
{
    constexpr std::size_t kCells = 500;
    const auto &samples = sound_of(kSounds[0]).baseband;
    for (auto _ : state)
        for (std::size_t n = 0; n < kCells; ++n)
            benchmark::DoNotOptimize(reference::pilot_energy(samples, double(7 * n) + 0.5, 375e-6));
    state.counters["seconds"] = double{kCells} / (kMapOffsets * kSecond);
}

/// Both lengths to the end, lists of paths included, as if all were worth it.
void candidate(benchmark::State &state, std::size_t copies)
{
    const auto &samples = sound_of(kSounds[0]).baseband;
    const auto sound = std::make_unique<far_sound>();
    for (const float_complex sample : std::span{samples}.first(10 * kSecond)) sound->put(sample);
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
            likely->begin(decoder->values(), /*probability=*/1, decoder->log_sum());
            while (likely->find(128)) {
            }
        }
    }
}

const bool registered = [] {
    using benchmark::RegisterBenchmark;
    using benchmark::State;
    const auto add = [](const std::string &name, auto work) {
        RegisterBenchmark(name.c_str(), work)->Iterations(kTimes)->Unit(benchmark::kMillisecond);
    };
    std::vector<const map_stages *> widths{&lanes4::far_map_stages};
    if (&fastest_map_stages() != widths[0]) widths.push_back(&fastest_map_stages());
    for (const named_sound &sound : kSounds) {
        const std::string name = sound.name;
        for (const vector_stages *const stages : available_stages())
            add("exact, " + name + ", " + stages->name,
                [=, &sound](State &state) { exact_method(state, sound, *stages); });
        for (const map_stages *const stages : widths)
            add("far, " + name + ", " + stages->name,
                [=, &sound](State &state) { far_method(state, sound, *stages); });
    }
    for (const map_stages *const stages : widths) {
        add(std::string{"detection, "} + stages->name,
            [=](State &state) { part_of_detection<burst_detector>(state, *stages); });
        add(std::string{"pilot map, "} + stages->name,
            [=](State &state) { part_of_detection<pilot_map>(state, *stages); });
    }
    add("pilot map, direct form", direct_form);
    for (const std::size_t copies : {1u, 2u, 5u, 10u})
        RegisterBenchmark(("candidate, " + std::to_string(copies)).c_str(), [=](State &state) {
            candidate(state, copies);
        })->Unit(benchmark::kMillisecond);
    return true;
}();

} // namespace
