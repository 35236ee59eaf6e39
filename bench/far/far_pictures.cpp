// What the pictures of the far method show, as the receiver has computed it: the pilot map around a
// burst, a channel before and after it was learnt, and data of one burst and of sums. Prints JSON,
// the same each time.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "far/far_search.h"
#include "receiver/far/burst_detector.h"
#include "receiver/far/copy_sum.h"
#include "receiver/far/refinement.h"
#include "receiver/far/steady_tones.h"
#include "receiver/far/turning_channel.h"
#include "tonelink/receiver.h"

namespace tonelink::bench {

namespace {

constexpr std::uint64_t kSeed = 4;
constexpr double kNoNoise = 100;
constexpr double kBasebandRate = 4410;

/// A scene's baseband without steady tones, and what the detector has found in it.
struct far_ears {
    explicit far_ears(const far_scene &scene)
    {
        const auto tones = std::make_unique<steady_tones>();
        const auto detector = std::make_unique<burst_detector>();
        const auto raw = baseband_of(scene.samples);
        for (std::size_t n = 0; n < raw.size() + steady_tones::kDelay; ++n) {
            const float_complex sample = tones->put(n < raw.size() ? raw[n] : float_complex{});
            if (n < steady_tones::kDelay) continue;
            samples.push_back(sample);
            heard->put(sample);
            detector->put(sample);
            for (detection peak; detector->take(peak);) found.push_back(peak);
        }
    }

    /// Where the burst was found: by its best sum over so many copies.
    copy_set copies(const cell_reader &reader, std::size_t count) const
    {
        const detection *best = nullptr;
        for (const detection &peak : found)
            if (peak.copies == count && (!best || peak.first.energy > best->first.energy))
                best = &peak;
        if (!best) throw std::runtime_error{"nothing was found"};
        const auto refiner = std::make_unique<copy_refiner>();
        refiner->begin(best->places());
        while (!refiner->step(reader, *heard)) {
        }
        return refiner->copies();
    }

    std::vector<float_complex> samples;
    std::unique_ptr<far_sound> heard = std::make_unique<far_sound>();
    std::vector<detection> found;
};

/// The cells of copies at exact places, added up.
cell_evidence add_up(const copy_set &copies, const cell_reader &reader, const far_ears &ears)
{
    const auto sum = std::make_unique<copy_sum>();
    sum->begin(copies, {});
    while (!sum->step(reader, *ears.heard)) {
    }
    return sum->cells();
}

template <class Number>
void print_row(const char *name, const std::vector<Number> &row, const char *end = ",\n")
{
    std::printf("    \"%s\": [", name);
    for (std::size_t n = 0; n < row.size(); ++n)
        std::printf("%s%.4g", n > 0 ? ", " : "", static_cast<double>(row[n]));
    std::printf("]%s", end);
}

/// The map's energies over time, a row for each clock offset: of each 18 delays the most.
void print_map(double snr_db)
{
    far_scene scene = make_scene(32, 1, {.clock_offset = 400}, snr_db + kNoiseInBandDb, kSeed);
    // Nothing but noise behind it.
    const far_scene noise = make_scene(32, 1, {.heard_to = 0}, snr_db + kNoiseInBandDb, kSeed + 1);
    scene.samples.insert(scene.samples.end(), noise.samples.begin(), noise.samples.end());
    const far_ears ears{scene};
    const auto map = std::make_unique<pilot_map>();
    std::vector<std::vector<float>> rows(kMapOffsets);
    for (const float_complex sample : ears.samples) {
        if (!map->put(sample) || map->first_place() < 0) continue;
        for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
            for (std::size_t hop = 0; hop < kMapHops; ++hop) {
                float most = 0;
                for (std::size_t delay = 0; delay < kMapDelays; ++delay)
                    most = std::max(most, map->energy(offset, delay, hop));
                rows[offset].push_back(most);
            }
        }
    }
    std::printf("  \"map\": {\n    \"snr_db\": %g, \"hop_seconds\": %.6f, \"begins\": %.4f,\n",
                snr_db, double(kMapHop) / kBasebandRate, scene.first_sample / 44100);
    std::printf("    \"lowest_ppm\": %g, \"step_ppm\": %g,\n", 1e6 * offset_of(0),
                1e6 * kOffsetStep);
    std::printf("    \"energies\": [\n");
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
        std::printf("      [");
        for (std::size_t n = 0; n < rows[offset].size(); ++n)
            std::printf("%s%.1f", n > 0 ? ", " : "", double(rows[offset][n]));
        std::printf("]%s\n", offset + 1 < kMapOffsets ? "," : "");
    }
    std::printf("    ]\n  },\n");
}

std::vector<float> sizes_of(const subcarrier_row &values)
{
    std::vector<float> sizes;
    for (const float_complex &value : values) sizes.push_back(std::sqrt(power_of(value)));
    return sizes;
}

subcarrier_row means_of(const subcarrier_evidence &pilots)
{
    subcarrier_row means;
    for (std::size_t i = 0; i < kSubcarriers; ++i)
        means[i] = pilots.value[i] * (1 / pilots.weight[i]);
    return means;
}

/// The channel of two paths: what the pilots say, what is made of it before and after learning, and
/// what they say without noise.
void print_channel(double snr_db)
{
    const far_channel paths{.path_delay = 3};
    const cell_reader reader;
    const far_ears ears{make_scene(32, 1, paths, snr_db + kNoiseInBandDb, kSeed)};
    const far_ears quiet{make_scene(32, 1, paths, kNoNoise, kSeed)};
    const copy_set copies = ears.copies(reader, 1);
    const auto pilots_in = [&](const far_ears &of) {
        return gather_evidence(add_up(copies, reader, of), pilots_alone(), steady_gains());
    };
    const subcarrier_evidence pilots = pilots_in(ears);
    const auto estimate = std::make_unique<channel_estimate<float>>();
    std::printf("  \"channel\": {\n    \"snr_db\": %g,\n", snr_db);
    print_row("pilots", sizes_of(means_of(pilots)));
    estimate->restart(pilots);
    estimate->estimate(pilots, 0);
    print_row("before", sizes_of(estimate->channel()));
    estimate->estimate(pilots, 12); // rounds, as the receiver learns
    print_row("learnt", sizes_of(estimate->channel()));
    print_row("true", sizes_of(means_of(pilots_in(quiet))), "\n  },\n");
}

/// The data of a number of copies, as the channel that the pilots tell makes of them.
void print_data(double snr_db, std::size_t copies, bool is_last)
{
    const cell_reader reader;
    const far_scene scene =
        make_scene(32, copies, {.clock_ppm = 100}, snr_db + kNoiseInBandDb, kSeed);
    const far_ears ears{scene};
    const cell_evidence cells = add_up(ears.copies(reader, copies), reader, ears);

    const expected_cells pilots = pilots_alone();
    symbol_gains gains = steady_gains();
    const auto estimate = std::make_unique<channel_estimate<float>>();
    const auto turning = std::make_unique<turning_channel>();
    estimate->restart(gather_evidence(cells, pilots, gains));
    for (int alternation = 0; alternation < 3; ++alternation) {
        estimate->estimate(gather_evidence(cells, pilots, gains), alternation == 0 ? 12 : 2);
        gains = turning->estimate(cells, pilots, estimate->channel());
    }

    uint8_t message[8] = {};
    for (std::size_t n = 0; n < 4; ++n)
        message[n] = static_cast<uint8_t>(scene.message >> (24 - 8 * n));
    tonelink_subcarrier sent[kSymbols * kSubcarriers];
    tonelink_receiver_subcarriers(message, 32, sent);

    std::vector<float> re, im;
    std::vector<int> value;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            if (holds_pilot(s, i)) continue;
            const float_complex channel = estimate->channel()[i] * gains[s];
            const float_complex datum = cells.value[s][i] * conjugate(channel) *
                                        (1 / (cells.weight[s][i] * power_of(channel)));
            re.push_back(datum.re);
            im.push_back(datum.im);
            value.push_back(sent[s * kSubcarriers + i].value);
        }
    }
    std::printf("    {\n    \"snr_db\": %g, \"copies\": %zu,\n", snr_db, copies);
    print_row("re", re);
    print_row("im", im);
    print_row("value", value, is_last ? "\n    }\n" : "\n    },\n");
}

} // namespace

} // namespace tonelink::bench

int main()
{
    using namespace tonelink::bench;
    std::printf("{\n");
    print_map(-9);
    print_channel(-5);
    std::printf("  \"data\": [\n");
    print_data(10, 1, false);
    print_data(-9, 1, false);
    print_data(-9, 5, true);
    std::printf("  ]\n}\n");
}
