// What the receiver library costs its users: a stream as a multiple of real time at several sample
// rates, in noise and beside a loop of bursts, against the exact receiver alone in the same run;
// the dearest block of 10 ms against the mean; and many streams side by side.
#include <benchmark/benchmark.h>
#include <samplerate.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <limits>
#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/stream_receiver.h"
#include "tonelink/receiver.h"

namespace {

using namespace tonelink;

constexpr int32_t kExactRate = 44100;
constexpr int kSeconds = 10;

enum class sound { noise, bursts };

/// White noise, alone or with a looped burst.
std::vector<int16_t> make_recording(sound what)
{
    std::array<uint8_t, 48> message{};
    for (std::size_t i = 0; i < message.size(); ++i) message[i] = i * i % 7 < 3;
    auto burst = std::make_unique<std::array<int16_t, kBurstSamples>>();
    BandShiftInfo down;
    openBandShift(&down, -kBandShiftHz);
    make_burst(message, true, down, *burst);
    closeBandShift(&down);
    std::vector<int16_t> samples;
    uint32_t random = 1;
    for (std::size_t i = 0; i < std::size_t{kSeconds} * kExactRate; ++i) {
        random = random * 1664525 + 1013904223;
        const int32_t noise = (static_cast<int32_t>(random >> 16) - 32768) / 64;
        const int32_t signal = what == sound::bursts ? (*burst)[i % kBurstSamples] / 8 : 0;
        samples.push_back(static_cast<int16_t>(signal + noise));
    }
    return samples;
}

std::vector<int16_t> resampled(const std::vector<int16_t> &samples, int32_t rate)
{
    if (rate == kExactRate) return samples;
    std::vector<float> in(samples.size());
    src_short_to_float_array(samples.data(), in.data(), static_cast<int>(in.size()));
    std::vector<float> out(static_cast<std::size_t>(rate) * kSeconds);
    SRC_DATA data{};
    data.data_in = in.data();
    data.data_out = out.data();
    data.input_frames = static_cast<long>(in.size());
    data.output_frames = static_cast<long>(out.size());
    data.src_ratio = static_cast<double>(rate) / kExactRate;
    src_simple(&data, SRC_SINC_MEDIUM_QUALITY, 1);
    std::vector<int16_t> result(out.size());
    src_float_to_short_array(out.data(), result.data(), static_cast<int>(out.size()));
    return result;
}

/// Ten seconds of a sound at a sample rate; made once.
const std::vector<int16_t> &recording(sound what, int32_t rate)
{
    struct kept {
        sound what;
        int32_t rate;
        std::vector<int16_t> samples;
    };
    static std::vector<std::unique_ptr<kept>> all;
    for (const auto &one : all)
        if (one->what == what && one->rate == rate) return one->samples;
    all.push_back(std::make_unique<kept>(kept{what, rate, resampled(make_recording(what), rate)}));
    return all.back()->samples;
}

using owned_receiver = std::unique_ptr<tonelink_receiver, decltype(&tonelink_receiver_close)>;

/// A rate, and the methods.
struct kind {
    int32_t rate;
    uint32_t methods;
};
constexpr uint32_t kExact = TONELINK_METHOD_EXACT, kBoth = kExact | TONELINK_METHOD_FAR;

tonelink_receiver_settings settings_for(const kind &of)
{
    return {sizeof(tonelink_receiver_settings), of.rate, 0, of.methods};
}

owned_receiver open_receiver(const kind &of)
{
    const tonelink_receiver_settings settings = settings_for(of);
    tonelink_receiver *receiver = nullptr;
    tonelink_receiver_open(&settings, &receiver);
    return {receiver, tonelink_receiver_close};
}

/// Takes a block as a program does: pushes it, and asks what was heard.
void push_block(tonelink_receiver *receiver, std::span<const int16_t> block)
{
    tonelink_receiver_push_s16(receiver, block.data(), block.size(), 1);
    tonelink_heard heard{};
    while (tonelink_receiver_next(receiver, &heard) == 1) benchmark::DoNotOptimize(heard);
}

template <class Take>
void for_each_block(std::span<const int16_t> samples, std::size_t size, Take take)
{
    for (std::size_t at = 0; at < samples.size(); at += size)
        take(samples.subspan(at, std::min(size, samples.size() - at)));
}

void library(benchmark::State &state, sound what, const kind &of)
{
    const auto &samples = recording(what, of.rate);
    const owned_receiver receiver = open_receiver(of);
    for (auto _ : state)
        for_each_block(samples, static_cast<std::size_t>(of.rate / 100),
                       [&](auto block) { push_block(receiver.get(), block); });
    const tonelink_receiver_settings settings = settings_for(of);
    state.counters["memory"] = static_cast<double>(tonelink_receiver_memory(&settings));
}

void exact_alone(benchmark::State &state, sound what, std::size_t size)
{
    const auto &samples = recording(what, kExactRate);
    const auto receiver = std::make_unique<stream_receiver>();
    BandShiftInfo shifter;
    openBandShift(&shifter, kBandShiftHz);
    std::size_t heard = 0;
    for (auto _ : state)
        for_each_block(samples, size, [&](auto block) {
            receiver->receive(block, shifter, message_lengths::both,
                              [&](const heard_message &) { ++heard; });
        });
    benchmark::DoNotOptimize(heard);
    closeBandShift(&shifter);
}

double cpu_microseconds()
{
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return 1e6 * static_cast<double>(now.tv_sec) + 1e-3 * static_cast<double>(now.tv_nsec);
}

/// Each run does the same work in each block: the least time of all runs is what the block costs.
void blocks(benchmark::State &state, sound what, const kind &of)
{
    constexpr int kRuns = 15;
    const auto &samples = recording(what, of.rate);
    std::vector<double> times(std::size_t{100} * kSeconds, std::numeric_limits<double>::max());
    for (auto _ : state) {
        for (int run = 0; run < kRuns; ++run) {
            const owned_receiver receiver = open_receiver(of);
            auto time = times.begin();
            for_each_block(samples, static_cast<std::size_t>(of.rate / 100), [&](auto block) {
                const double begin = cpu_microseconds();
                push_block(receiver.get(), block);
                *time = std::min(*time, cpu_microseconds() - begin);
                ++time;
            });
        }
    }
    std::ranges::sort(times);
    state.counters["mean_us"] =
        std::accumulate(times.begin(), times.end(), 0.0) / static_cast<double>(times.size());
    state.counters["most_of_99_percent_us"] = times[times.size() * 99 / 100];
    state.counters["most_us"] = times.back();
}

/// A thread's share of the streams: they take turns block by block. Returns its processor time.
double receive_streams(std::span<const owned_receiver> receivers, int32_t rate)
{
    const double begin = cpu_microseconds();
    for_each_block(recording(sound::bursts, rate), static_cast<std::size_t>(rate / 100),
                   [&](auto block) {
                       for (const owned_receiver &one : receivers) push_block(one.get(), block);
                   });
    return cpu_microseconds() - begin;
}

/// How many streams are received in real time: of one core's time, as used, and altogether.
void streams(benchmark::State &state, std::size_t threads, int32_t rate)
{
    constexpr std::size_t kEach = 16;
    std::vector<owned_receiver> receivers;
    for (std::size_t i = 0; i < kEach * threads; ++i)
        receivers.push_back(open_receiver({rate, kExact}));
    const double received = static_cast<double>(kSeconds) * static_cast<double>(receivers.size());
    std::vector<double> used(threads);
    double of_a_core = 0, altogether = 0;
    for (auto _ : state) {
        const auto begin = std::chrono::steady_clock::now();
        {
            std::vector<std::jthread> running;
            for (std::size_t i = 0; i < threads; ++i)
                running.emplace_back([&, i] {
                    used[i] = receive_streams(std::span{receivers}.subspan(kEach * i, kEach), rate);
                });
        }
        const std::chrono::duration<double> lasted = std::chrono::steady_clock::now() - begin;
        const double all_used = 1e-6 * std::accumulate(used.begin(), used.end(), 0.0);
        of_a_core = std::max(of_a_core, received / all_used);
        altogether = std::max(altogether, received / lasted.count());
    }
    state.counters["of_a_core"] = of_a_core;
    state.counters["altogether"] = altogether;
}

const bool registered = [] {
    using benchmark::RegisterBenchmark;
    for (const sound what : {sound::noise, sound::bursts}) {
        const std::string where = what == sound::noise ? ", noise" : ", bursts";
        for (const std::size_t size : {std::size_t{441}, std::size_t{44100}})
            RegisterBenchmark(("exact alone, " + std::to_string(size) + where).c_str(),
                              [=](benchmark::State &state) { exact_alone(state, what, size); })
                ->Unit(benchmark::kMicrosecond);
        for (const int32_t rate : {44100, 48000, 96000}) {
            recording(what, rate); // now, while there is one thread
            for (const uint32_t methods : {kExact, kBoth}) {
                const kind of{rate, methods};
                const std::string name =
                    (methods == kBoth ? "both, " : "") + std::to_string(rate) + where;
                RegisterBenchmark(("library, " + name).c_str(), [=](benchmark::State &state) {
                    library(state, what, of);
                })->Unit(benchmark::kMicrosecond);
                RegisterBenchmark(("blocks, " + name).c_str(),
                                  [=](benchmark::State &state) { blocks(state, what, of); })
                    ->Iterations(1)
                    ->Repetitions(1);
            }
        }
    }
    constexpr int kTries = 9;
    const std::size_t cores = std::max(std::thread::hardware_concurrency(), 1u);
    for (const std::size_t threads : {std::size_t{1}, cores})
        RegisterBenchmark(("streams, " + std::to_string(threads)).c_str(),
                          [=](benchmark::State &state) { streams(state, threads, 48000); })
            ->Iterations(kTries)
            ->Repetitions(1);
    return true;
}();

} // namespace
