// How long it takes from the start of a transmission to the first samples at the audio output, and
// how much of that is the burst.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <vector>

#include "instant_platform.h"
#include "tonelink/modem.h"
#include "tonelink/service.h"

namespace {

using tonelink::bench::clock;
using seconds = std::chrono::duration<double>;

constexpr int32_t kPacketOf48Bits = 2;

/// What one burst costs in a modem state of its own.
seconds time_of_burst()
{
    const uint8_t message[48] = {1, 0, 0, 1, 1};
    snfc_state *modem = nullptr;
    open_snfc(&modem);
    int16_t *samples = nullptr;
    int32_t *length = nullptr;
    const auto begin = clock::now();
    get_burst_snfc(&modem, message, 48, &samples, &length);
    const auto end = clock::now();
    close_snfc(&modem);
    return end - begin;
}

seconds median(std::vector<seconds> &times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

void measure(benchmark::State &state, int32_t (*start)(int32_t), int32_t (*stop)())
{
    std::vector<seconds> times;
    std::vector<seconds> bursts;
    for (auto _ : state) {
        tonelink::bench::await_first_write();
        const auto begin = clock::now();
        if (start(kPacketOf48Bits) != 1) return state.SkipWithError("not started");
        const seconds time = tonelink::bench::time_of_first_write() - begin;
        if (stop() != 1) return state.SkipWithError("not stopped");
        state.SetIterationTime(time.count());
        times.push_back(time);
        bursts.push_back(time_of_burst());
    }
    // A machine with other work lets a new thread wait: the median says more than the mean.
    state.counters["median_us"] = 1e6 * median(times).count();
    state.counters["share_of_burst"] = median(bursts) / median(times);
}

void start_to_first_write_by_thread(benchmark::State &state)
{
    measure(state, start_audio_transmitting_type, stop_audio_transmitting);
}

void start_to_first_write_by_callback(benchmark::State &state)
{
    measure(state, start_audio_transmitting_async_type, stop_audio_transmitting_async);
}

// A stop waits for the pause after the writer thread's last write: 100 ms.
BENCHMARK(start_to_first_write_by_thread)
    ->UseManualTime()
    ->Iterations(50)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(start_to_first_write_by_callback)
    ->UseManualTime()
    ->Iterations(200)
    ->Unit(benchmark::kMicrosecond);

} // namespace
