// How far the receiver hears: for one channel after the other, the SNR at which half and at which
// 95 % of the messages arrive. Prints a table, or JSON, the same each time.
//
//     far_figures [-s | -e] [-j] [-n SHARE] [ROW...]
//
// Without -s, by the far method's stages for a length and a number of copies that are known; with
// it, by the far method as a whole, with all sums, both lengths and the budget of CRC trials; with
// -e, by the receiver library's exact method. SHARE of the trials; rows by parts of their names.
//
// The table's SNR is that of make_scene(), in steps of 1 dB, and has behind it how far that is from
// the reference; JSON's is that in the bursts' band.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "far/far_search.h"
#include "link/arrivals.h"
#include "link/listener.h"
#include "link/side_by_side.h"

namespace tonelink::bench {

namespace {

enum class method { stages, far, exact };

constexpr const char *name_of(method by)
{
    return by == method::stages ? "stages" : by == method::far ? "far" : "exact";
}

struct row {
    const char *name;
    std::size_t bits, copies;
    int trials;
    double half, most; ///< the reference: where the far method's stages hear 50 and 95 %, dB
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

/// Where the exact method is looked at first, over the reference: dB.
constexpr double kExactLater = 7;
/// It follows no clock that is 500 ppm off, and is measured with crystals': ppm.
constexpr double kExactClock = 100;
/// No row is followed to a higher SNR.
constexpr double kHighestSnr = 0;
constexpr int kPointsPastMost = 2;

struct result {
    arrivals right, found;
    int wrong = 0;
};

void measure(const row &of, method by, int snr_db, result &into)
{
    far_channel channel = of.channel;
    if (by == method::exact) channel.clock_ppm = std::min(channel.clock_ppm, kExactClock);
    std::atomic<int> right{0}, found{0}, wrong{0};
    side_by_side(into.right.trials, [&](int trial) {
        const auto seed = static_cast<std::uint64_t>((snr_db + 100) * 100000 + trial);
        const far_scene scene = make_scene(of.bits, of.copies, channel, snr_db, seed);
        if (by == method::exact) {
            const hearing heard = hear(scene, of.bits, TONELINK_METHOD_EXACT, {});
            right += heard.is_right;
            wrong += heard.wrong;
            return;
        }
        const far_result result = by == method::far
                                      ? receive_scene(scene, of.bits)
                                      : search_scene(scene, of.bits, of.copies, of.search);
        right += result.is_right;
        found += result.is_found;
        wrong += static_cast<int>(result.messages) - result.is_right;
    });
    into.right.right[snr_db] = right;
    into.found.right[snr_db] = found;
    into.wrong += wrong;
}

/// Whether the row's last points are all at 95 %, as many as it takes to be sure.
bool is_past_most(const arrivals &seen)
{
    if (seen.right.size() < kPointsPastMost) return false;
    return std::all_of(seen.right.rbegin(), std::next(seen.right.rbegin(), kPointsPastMost),
                       [&](const auto &point) { return 20 * point.second >= 19 * seen.trials; });
}

/// Goes from where half and 95 % are expected to beyond where they are seen: down to a quarter, and
/// up to some points above 95 %.
result measure(const row &of, method by, double share_of_trials)
{
    const int trials = std::max(10, static_cast<int>(of.trials * share_of_trials));
    const double later = by == method::exact ? kExactLater : 0;
    result taken{{trials, {}}, {trials, {}}, 0};
    const auto &seen = taken.right.right;
    for (auto snr = static_cast<int>(std::floor(of.half + later));
         snr <= std::ceil(of.most + later); ++snr)
        measure(of, by, snr, taken);
    while (4 * seen.begin()->second >= trials)
        measure(of, by, static_cast<int>(seen.begin()->first) - 1, taken);
    while (!is_past_most(taken.right) && seen.rbegin()->first < kHighestSnr)
        measure(of, by, static_cast<int>(seen.rbegin()->first) + 1, taken);
    return taken;
}

void print_text(const row &of, const result &taken)
{
    const estimate half = taken.right.crossing(0.5), most = taken.right.crossing(0.95);
    std::printf("%-12s %3d trials  50 %%: %6.2f (%6.2f to %6.2f) %+5.2f   95 %%: %6.2f (%6.2f to "
                "%6.2f) %+5.2f   wrong %d  ",
                of.name, taken.right.trials, half.value, half.low, half.high, half.value - of.half,
                most.value, most.low, most.high, most.value - of.most, taken.wrong);
    for (auto it = taken.right.right.begin(); it != taken.right.right.end(); ++it)
        std::printf(" %g:%.0f/%.0f", it->first, 100 * taken.right.share_at(it),
                    100 * taken.found.share_at(taken.found.right.find(it->first)));
    std::printf("\n");
    std::fflush(stdout);
}

/// A channel in words.
std::string text_of(const far_channel &channel)
{
    char text[100];
    const auto say = [&](const char *format, double number, double other = 0) {
        std::snprintf(text, sizeof text, format, number, other);
        return std::string{text};
    };
    if (channel.path_delay > 0)
        return say("a second path, 3 dB weaker, after %g ms", channel.path_delay);
    if (channel.room_seconds > 0)
        return say("a room that dies away in %g s, direct sound %g dB over its echo",
                   channel.room_seconds, channel.direct_db);
    if (channel.rolls_off) return "falling by 18 dB from 18 to 20 kHz";
    if (channel.noise_cutoff > 0)
        return say("noise that ends at %g kHz", channel.noise_cutoff / 1000);
    if (channel.clicks_db > 0) return say("clicks %g dB above the noise", channel.clicks_db);
    if (channel.has_tone) return say("a steady tone %g dB above the burst", channel.tone_db);
    if (channel.sway > 0) return say("a hand that moves at %g m/s", channel.sway);
    return "white noise";
}

void print_json(const row &of, method by, const result &taken)
{
    std::printf("  {\"row\": \"%s\", \"channel\": \"%s\", \"method\": \"%s\", \"bits\": %zu, "
                "\"copies\": %zu, \"trials\": %d, \"wrong\": %d, \"points\": ",
                of.name, text_of(of.channel).c_str(), name_of(by), of.bits, of.copies,
                taken.right.trials, taken.wrong);
    print_points(taken.right, -kNoiseInBandDb);
    std::printf(", \"half\": ");
    print_estimate(taken.right.crossing(0.5), -kNoiseInBandDb);
    std::printf(", \"most\": ");
    print_estimate(taken.right.crossing(0.95), -kNoiseInBandDb);
    std::printf("},\n");
    std::fflush(stdout);
}

} // namespace

} // namespace tonelink::bench

int main(int count, char **arguments)
{
    using namespace tonelink::bench;
    double share = 1;
    method by = method::stages;
    bool is_json = false;
    std::vector<std::string> wanted;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        if (argument == "-s")
            by = method::far;
        else if (argument == "-e")
            by = method::exact;
        else if (argument == "-j")
            is_json = true;
        else if (argument == "-n" && i + 1 < count)
            share = std::atof(arguments[++i]);
        else
            wanted.push_back(argument);
    }
    if (is_json) std::printf("[\n");
    for (const row &of : kRows) {
        const std::string name = of.name;
        const auto is_part = [&](const std::string &part) {
            return name.find(part) != std::string::npos;
        };
        if (!wanted.empty() && std::ranges::none_of(wanted, is_part)) continue;
        const result taken = measure(of, by, share);
        if (is_json)
            print_json(of, by, taken);
        else
            print_text(of, taken);
    }
    if (is_json) std::printf("  {}\n]\n");
}
