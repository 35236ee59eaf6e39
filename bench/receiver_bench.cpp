// What receiving costs: the whole of it as a multiple of real time, by block size and by vector
// width, and by its reference form in the same run; and each of its stages, by both forms, for a
// second of audio.
#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <vector>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/channel_decoder.h"
#include "modem/fixed_fft.h"
#include "modem/reference/band_shift.h"
#include "modem/reference/stream_receiver.h"
#include "modem/stream_receiver.h"
#include "modem/vector_stages.h"

namespace {

using namespace tonelink;

constexpr std::size_t kSecond = 44100;
constexpr std::size_t kHopsASecond = 551;

struct open_shifter : BandShiftInfo {
    open_shifter() { openBandShift(this, kBandShiftHz); }
    open_shifter(const open_shifter &) = delete;
    open_shifter &operator=(const open_shifter &) = delete;
    ~open_shifter() { closeBandShift(this); }
};

/// A second of a looped burst in noise.
const std::vector<int16_t> &recording()
{
    static const std::vector<int16_t> samples = [] {
        std::array<uint8_t, 48> message{};
        for (std::size_t i = 0; i < message.size(); ++i) message[i] = i * i % 7 < 3;
        auto burst = std::make_unique<std::array<int16_t, kBurstSamples>>();
        BandShiftInfo down;
        openBandShift(&down, -kBandShiftHz);
        make_burst(message, true, down, *burst);
        closeBandShift(&down);
        std::vector<int16_t> heard;
        uint32_t random = 1;
        for (std::size_t i = 0; i < kSecond; ++i) {
            random = random * 1664525 + 1013904223;
            const int32_t noise = static_cast<int32_t>(random >> 16) - 32768;
            heard.push_back(static_cast<int16_t>((*burst)[i % kBurstSamples] / 8 + noise / 64));
        }
        return heard;
    }();
    return samples;
}

void count_real_time(benchmark::State &state)
{
    state.counters["real_time"] =
        benchmark::Counter(1, benchmark::Counter::kIsIterationInvariantRate);
}

void count_hops(benchmark::State &state)
{
    state.counters["ns_a_hop"] = benchmark::Counter(static_cast<double>(kHopsASecond) * 1e-9,
                                                    benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}

template <class Receiver>
void receive_second(benchmark::State &state, Receiver &receiver, message_lengths lengths)
{
    const auto &audio = recording();
    const auto block = static_cast<std::size_t>(state.range(0));
    open_shifter shifter;
    std::size_t heard = 0;
    for (auto _ : state)
        for (std::size_t at = 0; at < audio.size(); at += block)
            receiver.receive(std::span{audio}.subspan(at, std::min(block, audio.size() - at)),
                             shifter, lengths, [&](const heard_message &) { ++heard; });
    benchmark::DoNotOptimize(heard);
    count_real_time(state);
}

void receiver_reference(benchmark::State &state)
{
    const auto receiver = std::make_unique<reference::stream_receiver>();
    receive_second(state, *receiver, message_lengths::only_32);
}
BENCHMARK(receiver_reference)->Arg(44100)->Unit(benchmark::kMicrosecond);

void receiver_fast(benchmark::State &state, const vector_stages *stages, message_lengths lengths)
{
    const auto receiver = std::make_unique<stream_receiver>(*stages);
    receive_second(state, *receiver, lengths);
}

/// A stage on its own: what comes before it has been done once.
struct workbench {
    const vector_stages &stages;
    baseband_rows baseband{};
    spectrum_rows spectra{};
    code_sums<32> short_sums{};
    code_sums<48> long_sums{};
    survivors<32> short_survivors{};
    survivors<48> long_survivors{};

    explicit workbench(const vector_stages &s) : stages{s}
    {
        uint32_t random = 7;
        const auto next = [&] {
            random = random * 1664525 + 1013904223;
            return static_cast<int16_t>(random >> 16);
        };
        for (auto &row : baseband.pairs)
            for (auto &pair : row)
                pair = {static_cast<int16_t>(next() / 2), static_cast<int16_t>(next() / 2)};
        for (std::size_t column = 0; column + kBatch <= spectrum_rows::kColumns; column += kBatch)
            stages.transform_hops(baseband, kBatch, spectra, column);
        stages.demodulate(spectra, 0, kBatch, &short_sums, &long_sums);
    }
};

/// Runs a stage over a second's hops, in whole batches.
template <class Stage>
void stage_of_hops(benchmark::State &state, const vector_stages *stages, Stage stage)
{
    const auto bench = std::make_unique<workbench>(*stages);
    for (auto _ : state)
        for (std::size_t hop = 0; hop + kBatch <= kHopsASecond + kBatch; hop += kBatch)
            stage(*bench, (hop / kBatch) % 8 * kBatch, std::min(kBatch, kHopsASecond - hop));
    count_hops(state);
}

void band_shift_with(benchmark::State &state, const vector_stages *stages)
{
    std::vector<int16_t> samples = recording();
    open_shifter shifter;
    for (auto _ : state) {
        shift_band(samples, shifter, *stages);
        benchmark::ClobberMemory();
    }
}

void band_shift_reference(benchmark::State &state)
{
    std::vector<int16_t> samples = recording();
    open_shifter shifter;
    for (auto _ : state) {
        reference::shift_band(samples, shifter);
        benchmark::ClobberMemory();
    }
}

/// Decimation and gain, and what lies between the other stages, which are left out.
void decimation(benchmark::State &state)
{
    constexpr message_lengths none{};
    vector_stages stages = fastest_stages();
    stages.transform_hops = [](const auto &, std::size_t, auto &, std::size_t) {};
    stages.demodulate = [](const auto &, std::size_t, std::size_t, auto *, auto *) {};
    const auto receiver = std::make_unique<stream_receiver>(stages);
    for (auto _ : state) receiver->receive_shifted(recording(), none, [](const auto &) {});
}

/// What the reference stages of a hop start from.
struct hop_input {
    symbol_body body;
    reference::candidate burst;
    reference::soft_channel soft;
};

/// Some hops that differ: on a single one, the processor would learn where each branch goes.
std::vector<hop_input> different_hops()
{
    std::vector<hop_input> hops(32);
    const int16_t *sample = recording().data();
    for (hop_input &h : hops) {
        std::copy_n(sample, h.body.size(), h.body.begin());
        for (cplx16 &subcarrier : h.burst.subcarriers) {
            subcarrier = {sample[0], sample[1]};
            ++sample;
        }
        h.burst.exponents.fill(3);
        h.soft = reference::demodulate(h.burst);
    }
    return hops;
}

/// Runs a reference stage over a second's hops.
template <class Stage> void reference_stage_of_hops(benchmark::State &state, Stage stage)
{
    const auto hops = different_hops();
    for (auto _ : state)
        for (std::size_t i = 0; i < kHopsASecond; ++i)
            benchmark::DoNotOptimize(stage(hops[i % hops.size()]));
    count_hops(state);
}

template <std::size_t Bits> auto decode_reference(const hop_input &h)
{
    return reference::viterbi_decoder<Bits>(reference::recover_rate<Bits>(h.soft));
}

symbol_spectrum transform_reference(const hop_input &h)
{
    symbol_spectrum spectrum;
    forward_symbol_transform(h.body, spectrum);
    return spectrum;
}

/// The fast forms, of every width that this processor has.
const bool registered = [] {
    using benchmark::RegisterBenchmark;
    for (const vector_stages *const stages : available_stages()) {
        const auto name = [&](const char *what) { return std::string{what} + ", " + stages->name; };
        for (const auto lengths :
             {message_lengths::only_32, message_lengths::only_48, message_lengths::both}) {
            const char *const which = lengths == message_lengths::only_32 ? "receiver 32 bits"
                                      : lengths == message_lengths::only_48
                                          ? "receiver 48 bits"
                                          : "receiver both lengths";
            for (const int64_t block : {80, 441, 4410, 44100})
                RegisterBenchmark(
                    name(which).c_str(),
                    [=](benchmark::State &state) { receiver_fast(state, stages, lengths); })
                    ->Arg(block)
                    ->Unit(benchmark::kMicrosecond);
        }
        const auto stage = [&](const char *what, auto work) {
            RegisterBenchmark(name(what).c_str(), [=](benchmark::State &state) {
                stage_of_hops(state, stages, work);
            })->Unit(benchmark::kMicrosecond);
        };
        RegisterBenchmark(name("stage band shift").c_str(), [=](benchmark::State &state) {
            band_shift_with(state, stages);
        })->Unit(benchmark::kMicrosecond);
        stage("stage transforms", [](workbench &b, std::size_t column, std::size_t count) {
            b.stages.transform_hops(b.baseband, count, b.spectra, column);
        });
        stage("stage demodulation, 32 bits",
              [](workbench &b, std::size_t column, std::size_t count) {
                  b.stages.demodulate(b.spectra, column, count, &b.short_sums, nullptr);
              });
        stage("stage demodulation, both", [](workbench &b, std::size_t column, std::size_t count) {
            b.stages.demodulate(b.spectra, column, count, &b.short_sums, &b.long_sums);
        });
        stage("stage add-compare-select, 32 bits",
              [](workbench &b, std::size_t, std::size_t count) {
                  b.stages.select_short_survivors(b.short_sums, count, b.short_survivors);
              });
        stage("stage add-compare-select, 48 bits",
              [](workbench &b, std::size_t, std::size_t count) {
                  b.stages.select_long_survivors(b.long_sums, count, b.long_survivors);
              });
        stage("stage trace back, 32 bits", [](workbench &b, std::size_t, std::size_t count) {
            benchmark::DoNotOptimize(check_crcs(b.short_survivors, count));
        });
    }
    RegisterBenchmark("stage decimation and gain", decimation)->Unit(benchmark::kMicrosecond);
    RegisterBenchmark("stage band shift, reference", band_shift_reference)
        ->Unit(benchmark::kMicrosecond);
    const auto stage = [](const char *what, auto work) {
        RegisterBenchmark(what, [=](benchmark::State &state) {
            reference_stage_of_hops(state, work);
        })->Unit(benchmark::kMicrosecond);
    };
    stage("stage transforms, reference", transform_reference);
    stage("stage demodulation, reference",
          [](const hop_input &h) { return reference::demodulate(h.burst); });
    stage("stage decoding, 32 bits, reference", decode_reference<32>);
    stage("stage decoding, 48 bits, reference", decode_reference<48>);
    return true;
}();

} // namespace
