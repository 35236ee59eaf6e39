// What the far receiver makes of minutes in which many send at once: how many of the messages it
// finds, with how many trials of the CRC, whether paths are right as often as their probabilities
// say, how late messages are told, and what that costs.
//
//     far_mixed [SCENES [SENDERS]]
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "far/far_search.h"
#include "far/own_time.h"
#include "receiver/far/far_receiver.h"

namespace tonelink::bench {

namespace {

struct outcome {
    int sent = 0, found = 0, wrong = 0, told = 0;
    double seconds = 0;
    std::vector<double> late;  // behind the last burst's end, s
    std::vector<double> ticks; // microseconds
    std::array<path_queue::tally, path_queue::kDecades> tallies{};
};

void listen(const mixed_scene &scene, outcome &result)
{
    constexpr std::size_t kTick = 44;
    const auto samples = baseband_of(scene.samples);
    const auto receiver = std::make_unique<far_receiver>(message_lengths::both);
    std::vector<bool> is_found(scene.senders.size());
    const std::span all{samples};
    for (std::size_t at = 0; at < all.size(); at += kTick) {
        const double begun = own_microseconds();
        receiver->put(all.subspan(at, std::min(kTick, all.size() - at)));
        result.ticks.push_back(own_microseconds() - begun);
        for (far_message heard; receiver->take(heard);) {
            ++result.told;
            bool is_right = false;
            for (std::size_t n = 0; n < scene.senders.size(); ++n) {
                const auto &sender = scene.senders[n];
                if (heard.length != sender.bits || heard.bits != sender.message) continue;
                is_right = true;
                if (!is_found[n])
                    result.late.push_back((double(10 * (at + kTick)) - sender.ends) / 44100);
                is_found[n] = true;
            }
            if (!is_right) ++result.wrong;
        }
    }
    result.sent += static_cast<int>(scene.senders.size());
    result.found += static_cast<int>(std::count(is_found.begin(), is_found.end(), true));
    result.seconds += double(scene.samples.size()) / 44100;
    for (std::size_t n = 0; n < path_queue::kDecades; ++n) {
        const path_queue::tally &of = receiver->trials().tallies()[n];
        result.tallies[n].trials += of.trials;
        result.tallies[n].expected += of.expected;
        result.tallies[n].right += of.right;
    }
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    const int scenes = count > 1 ? std::atoi(arguments[1]) : 10;
    const int senders = count > 2 ? std::atoi(arguments[2]) : 12;
    outcome result;
    for (int n = 0; n < scenes; ++n)
        listen(make_mixed_scene(static_cast<std::size_t>(senders), std::uint64_t(n) + 1), result);
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
    double from = 1e-4;
    for (const auto &of : result.tallies) {
        std::printf("probability from %.4f on: %6ld trials, right: %5.1f expected, %ld seen\n",
                    from, long(of.trials), of.expected, long(of.right));
        from *= 10;
    }
    std::printf("late: median %.2f s, 90 %% %.2f, most %.2f; %.1f ms a second, 10 ms blocks: 99 %% "
                "%.0f us, 99.9 %% %.0f, most %.0f\n",
                share(result.late, 0.5), share(result.late, 0.9), share(result.late, 1),
                spent / 1000 / result.seconds, share(result.ticks, 0.99),
                share(result.ticks, 0.999), share(result.ticks, 1));
}
