// How far the far receiver hears: for one channel after the other, the SNR at which half and at
// which 95 % of the messages arrive. Prints a table, the same each time.
//
//     far_figures [-s] [-n SHARE] [ROW...]   -s: the receiver as a whole, with all sums, both
//     lengths
//                                            and the budget of CRC trials; SHARE of the trials;
//                                            rows by parts of their names
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>

#include "far/far_search.h"

namespace tonelink::bench {

namespace {

struct row {
    const char *name;
    std::size_t bits, copies;
    int trials;
    double half, most; ///< where 50 and 95 % are to arrive, dB
    int search;        ///< ppm
    far_channel channel;
};

const row kRows[] = {
    {"white-32-1", 32, 1, 200, -20.6, -19.1, 1000, {.clock_ppm = 1000}},
    {"white-32-2", 32, 2, 200, -23.5, -21.7, 1000, {.clock_ppm = 1000}},
    {"white-32-5", 32, 5, 100, -27.0, -25.6, 1000, {.clock_ppm = 1000}},
    {"white-32-10", 32, 10, 60, -29.4, -27.4, 1000, {.clock_ppm = 1000}},
    {"white-48-1", 48, 1, 200, -19.3, -17.5, 1000, {.clock_ppm = 1000}},
    {"white-48-2", 48, 2, 200, -22.2, -20.4, 1000, {.clock_ppm = 1000}},
    {"white-48-5", 48, 5, 100, -26.1, -24.3, 1000, {.clock_ppm = 1000}},
    {"white-48-10", 48, 10, 60, -28.4, -27.1, 1000, {.clock_ppm = 1000}},
    {"path-1ms", 32, 1, 100, -20.2, -18.3, 300, {.path_delay = 1}},
    {"path-3ms", 32, 1, 100, -20.1, -18.3, 300, {.path_delay = 3}},
    {"path-5ms", 32, 1, 100, -20.2, -18.6, 300, {.path_delay = 5}},
    {"room-0.2", 32, 1, 100, -17.9, -16.1, 300, {.room_seconds = 0.2}},
    {"room-0.4", 32, 1, 100, -17.5, -15.6, 300, {.room_seconds = 0.4}},
    {"room-0.6", 32, 1, 100, -17.5, -15.5, 300, {.room_seconds = 0.6}},
    {"room-near", 32, 1, 100, -19.6, -18.0, 300, {.room_seconds = 0.3, .direct_db = 6}},
    {"room-far", 32, 1, 100, -14.7, -12.0, 300, {.room_seconds = 0.3, .direct_db = -6}},
    {"room-5", 32, 5, 50, -24.4, -22.3, 300, {.room_seconds = 0.4}},
    {"rolloff-1", 32, 1, 100, -19.6, -17.7, 300, {.rolls_off = true}},
    {"rolloff-5", 32, 5, 50, -25.9, -24.2, 300, {.rolls_off = true}},
    {"lowpass", 32, 1, 100, -20.6, -19.0, 300, {.noise_cutoff = 20200}},
    {"clicks-20", 32, 1, 100, -19.8, -18.4, 300, {.clicks_db = 20}},
    {"clicks-30", 32, 1, 100, -19.6, -18.2, 300, {.clicks_db = 30}},
    {"tone-10", 32, 1, 100, -20.7, -19.1, 300, {.tone_db = 10, .has_tone = true}},
    {"tone-30", 32, 1, 100, -20.6, -19.1, 300, {.tone_db = 30, .has_tone = true}},
    {"sway-0.03", 32, 1, 100, -20.5, -18.8, 1000, {.sway = 0.03}},
    {"sway-0.1", 32, 1, 100, -19.6, -17.4, 1000, {.sway = 0.1}},
    {"sway-0.2", 32, 1, 100, -17.6, -15.0, 1000, {.sway = 0.2}},
    {"sway-0.03-5", 32, 5, 50, -26.3, -25.1, 500, {.sway = 0.03}},
    {"sway-0.1-5", 32, 5, 50, -22.2, -20.8, 500, {.sway = 0.1}},
};

/// Calls `work(i)` for i below `count` on all cores.
template <class Work> void side_by_side(int count, const Work &work)
{
    std::atomic<int> next{0};
    std::vector<std::jthread> workers;
    for (unsigned w = 0; w < std::max(1u, std::thread::hardware_concurrency()); ++w)
        workers.emplace_back([&] {
            for (int i = next++; i < count; i = next++) work(i);
        });
}

struct point {
    int right = 0, found = 0, wrong = 0;
};

point measure(const row &of, int trials, int snr_db, bool is_stream)
{
    std::atomic<int> right{0}, found{0}, wrong{0};
    side_by_side(trials, [&](int trial) {
        const auto seed = static_cast<std::uint64_t>((snr_db + 100) * 100000 + trial);
        const far_scene scene = make_scene(of.bits, of.copies, of.channel, snr_db, seed);
        const far_result result = is_stream ? receive_scene(scene, of.bits)
                                            : search_scene(scene, of.bits, of.copies, of.search);
        right += result.is_right;
        found += result.is_found;
        wrong += static_cast<int>(result.messages) - result.is_right;
    });
    return {right, found, wrong};
}

/// Where a share of the messages arrives, on straight lines between the points; the highest such.
double crossing(const std::map<int, double> &shares, double share)
{
    double at = NAN;
    for (auto it = shares.begin(); it != shares.end(); ++it) {
        const auto next = std::next(it);
        if (next == shares.end()) break;
        if (it->second < share && next->second >= share)
            at = it->first + (share - it->second) / (next->second - it->second);
    }
    return at;
}

/// Crossings vary by so much with what would have been drawn as well.
std::pair<double, double> spread(const std::map<int, double> &shares, int trials, double share)
{
    generator random{1};
    std::vector<double> crossings;
    for (int draw = 0; draw < 400; ++draw) {
        std::map<int, double> drawn;
        for (const auto &[snr, p] : shares) {
            // A rate between what was seen and half a trial less sure.
            std::binomial_distribution<int> count{trials, (p * trials + 0.25) / (trials + 0.5)};
            drawn[snr] = double(count(random)) / trials;
        }
        const double at = crossing(drawn, share);
        if (!std::isnan(at)) crossings.push_back(at);
    }
    if (crossings.empty()) return {NAN, NAN};
    std::ranges::sort(crossings);
    return {crossings[crossings.size() / 40], crossings[crossings.size() * 39 / 40]};
}

void print_row(const row &of, double share_of_trials, bool is_stream)
{
    const int trials = std::max(10, static_cast<int>(of.trials * share_of_trials));
    std::map<int, double> shares, found;
    int wrong = 0;
    const auto take = [&](int snr) {
        const point taken = measure(of, trials, snr, is_stream);
        shares[snr] = double(taken.right) / trials;
        found[snr] = double(taken.found) / trials;
        wrong += taken.wrong;
    };
    for (auto snr = static_cast<int>(std::floor(of.half)); snr <= std::ceil(of.most); ++snr)
        take(snr);
    while (shares.begin()->second >= 0.5) take(shares.begin()->first - 1);
    while (shares.rbegin()->second < 0.95 && shares.rbegin()->first < 0)
        take(shares.rbegin()->first + 1);

    const auto [half_low, half_high] = spread(shares, trials, 0.5);
    const auto [most_low, most_high] = spread(shares, trials, 0.95);
    const double half = crossing(shares, 0.5), most = crossing(shares, 0.95);
    std::printf("%-12s %3d trials  50 %%: %6.2f (%6.2f to %6.2f) %+5.2f   95 %%: %6.2f (%6.2f to "
                "%6.2f) %+5.2f   wrong %d  ",
                of.name, trials, half, half_low, half_high, half - of.half, most, most_low,
                most_high, most - of.most, wrong);
    for (const auto &[snr, share] : shares)
        std::printf(" %d:%.0f/%.0f", snr, 100 * share, 100 * found[snr]);
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    double share = 1;
    bool is_stream = false;
    std::vector<std::string> wanted;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-s")
            is_stream = true;
        else if (argument == "-n" && i + 1 < count)
            share = std::atof(arguments[++i]);
        else
            wanted.push_back(argument);
    }
    for (const row &of : kRows) {
        const std::string name = of.name;
        const auto is_part = [&](const std::string &part) {
            return name.find(part) != std::string::npos;
        };
        if (wanted.empty() || std::ranges::any_of(wanted, is_part)) print_row(of, share, is_stream);
    }
}
