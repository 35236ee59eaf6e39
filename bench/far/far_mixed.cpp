// What the far receiver makes of minutes in which many send at once: how many of the messages it
// finds, with how many trials of the CRC, whether paths are right as often as their probabilities
// say, how late messages are told, and what that costs.
//
//     far_mixed [SCENES [SENDERS [FIRST [SOUND]]]]   FIRST: the first scene's seed; SOUND: sweeps
//     or
//                                                    keyed, beside the senders
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "far/busy_sounds.h"
#include "far/far_search.h"
#include "far/own_time.h"
#include "link/everyday_sounds.h"
#include "receiver/far/far_receiver.h"

namespace tonelink::bench {

namespace {

struct outcome {
    int sent = 0, found = 0, wrong = 0, told = 0;
    double seconds = 0;
    std::vector<double> late;  // behind the last burst's end, s
    std::vector<double> ticks; // microseconds
    std::array<path_queue::tally, path_queue::kRanges> tallies{};
};

constexpr std::size_t kTick = 44;
constexpr int kTimes = 3;

/// What is told for each block of 10 ms is added to a list; what the blocks take, at their fastest
/// of several times, as each time does the same work.
std::vector<std::pair<std::size_t, far_message>>
receive(std::span<const float_complex> samples, far_receiver &receiver, std::vector<double> &ticks)
{
    std::vector<std::pair<std::size_t, far_message>> told;
    std::vector<double> least(samples.size() / kTick, 1e9);
    for (int time = 0; time < kTimes; ++time) {
        receiver.restart();
        told.clear();
        for (std::size_t n = 0; n < least.size(); ++n) {
            const double begun = own_microseconds();
            receiver.put(samples.subspan(n * kTick, kTick));
            least[n] = std::min(least[n], own_microseconds() - begun);
            for (far_message heard; receiver.take(heard);)
                told.emplace_back((n + 1) * kTick, heard);
        }
    }
    ticks.insert(ticks.end(), least.begin(), least.end());
    return told;
}

void listen(const mixed_scene &scene, outcome &result)
{
    const auto samples = baseband_of(scene.samples);
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    std::vector<bool> is_found(scene.senders.size());
    for (const auto &[when, heard] : receive(samples, *receiver, result.ticks)) {
        ++result.told;
        bool is_right = false;
        for (std::size_t n = 0; n < scene.senders.size(); ++n) {
            const auto &sender = scene.senders[n];
            if (heard.length != sender.bits || heard.bits != sender.message) continue;
            is_right = true;
            if (!is_found[n]) result.late.push_back((10 * double(when) - sender.ends) / 44100);
            is_found[n] = true;
        }
        if (!is_right) ++result.wrong;
    }
    result.sent += static_cast<int>(scene.senders.size());
    result.found += static_cast<int>(std::count(is_found.begin(), is_found.end(), true));
    result.seconds += double(scene.samples.size()) / 44100;
    for (std::size_t n = 0; n < path_queue::kRanges; ++n) {
        const path_queue::tally &of = receiver->trials().tallies()[n];
        result.tallies[n].trials += of.trials;
        result.tallies[n].expected += of.expected;
        result.tallies[n].right += of.right;
    }
}

/// Adds a sound about as loud as the noise.
template <class Source> void add_sound(sound &to, std::uint64_t seed)
{
    constexpr float kGain = 0.2f;
    Source source{seed};
    for (std::size_t at = 0; at < to.size(); at += kBlockSamples) {
        const auto block = source.next();
        for (std::size_t n = at; n < std::min(to.size(), at + kBlockSamples); ++n)
            to[n] += kGain * static_cast<float>(block[n - at]);
    }
}

void add_named_sound(sound &to, const std::string &name, std::uint64_t seed)
{
    if (name == "sweeps") add_sound<sweep_source>(to, seed);
    if (name == "keyed") add_sound<keyed_source>(to, seed);
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    using tonelink::path_queue;
    const int scenes = count > 1 ? std::atoi(arguments[1]) : 10;
    const int senders = count > 2 ? std::atoi(arguments[2]) : 12;
    const int first = count > 3 ? std::atoi(arguments[3]) : 1;
    const std::string beside = count > 4 ? arguments[4] : "";
    outcome result;
    for (int n = first; n < first + scenes; ++n) {
        const auto seed = static_cast<std::uint64_t>(n);
        mixed_scene scene = make_mixed_scene(static_cast<std::size_t>(senders), seed);
        add_named_sound(scene.samples, beside, seed);
        listen(scene, result);
    }
    std::ranges::sort(result.late);
    std::ranges::sort(result.ticks);
    const auto share = [](const std::vector<double> &row, double of) {
        return row.empty() ? NAN : row[static_cast<std::size_t>(of * double(row.size() - 1))];
    };
    double spent = 0;
    for (const double tick : result.ticks) spent += tick;
    std::int64_t trials = 0;
    for (const auto &of : result.tallies) trials += of.trials;
    std::printf("sent %d, found %d, told %d, wrong %d; %.1f trials a second\n", result.sent,
                result.found, result.told, result.wrong, double(trials) / result.seconds);
    float from = path_queue::kLeastProbable;
    for (std::size_t n = 0; n < path_queue::kRanges; ++n) {
        const path_queue::tally &of = result.tallies[n];
        std::printf("probability from %.4f on: %6ld trials, right: %6.1f expected, %ld seen\n",
                    double{from}, long(of.trials), of.expected, long(of.right));
        if (n < path_queue::kRangeBounds.size()) from = path_queue::kRangeBounds[n];
    }
    std::printf("late: median %.2f s, 90 %% %.2f, most %.2f; %.1f ms a second, 10 ms blocks: 99 %% "
                "%.0f us, 99.9 %% %.0f, most %.0f\n",
                share(result.late, 0.5), share(result.late, 0.9), share(result.late, 1),
                spent / 1000 / result.seconds, share(result.ticks, 0.99),
                share(result.ticks, 0.999), share(result.ticks, 1));
}
