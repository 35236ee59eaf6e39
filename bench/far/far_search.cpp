#include "far/far_search.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "receiver/baseband.h"
#include "receiver/far/burst_decoder.h"
#include "receiver/far/path_message.h"
#include "receiver/far/reference/pilot_map.h"
#include "receiver/far/steady_tones.h"

namespace tonelink::bench {

namespace {

constexpr std::size_t kMostCandidates = 4;

struct cell {
    int offset;
    std::size_t sample;
    float energy;
};

/// Sums of a write's copies, cell by cell.
class write_sums {
public:
    write_sums(const reference::pilot_map &map, std::size_t copies)
    {
        for (int offset = -map.most(); offset <= map.most(); ++offset) {
            const double clock = 1e-6 * reference::pilot_map::kOffsetStep * offset;
            auto &row = rows_.emplace_back(map.samples());
            for (std::size_t n = 0; n < row.size(); ++n) {
                for (std::size_t c = 0; c < copies; ++c) {
                    const double later = kCopyDistance * static_cast<double>(c) / (1 + clock);
                    const auto at = n + static_cast<std::size_t>(later + 0.5);
                    row[n] = at < row.size() ? row[n] + map.at(offset, at) : 0;
                    if (at >= row.size()) break;
                }
            }
        }
        most_ = map.most();
    }
    float at(int offset, std::size_t sample) const
    {
        return rows_[static_cast<std::size_t>(offset + most_)][sample];
    }

    /// The peaks over a threshold, the highest one first, none close to a higher one.
    std::vector<cell> peaks(float threshold) const
    {
        std::vector<cell> over;
        for (int offset = -most_; offset <= most_; ++offset) {
            const auto &row = rows_[static_cast<std::size_t>(offset + most_)];
            for (std::size_t n = 1; n + 1 < row.size(); ++n)
                if (row[n] > threshold && row[n] >= row[n - 1] && row[n] >= row[n + 1])
                    over.push_back({offset, n, row[n]});
        }
        std::ranges::sort(over, [](const cell &a, const cell &b) { return a.energy > b.energy; });
        std::vector<cell> kept;
        for (const cell &peak : over) {
            const auto is_close = [&](const cell &better) {
                const auto apart = static_cast<std::ptrdiff_t>(better.sample) -
                                   static_cast<std::ptrdiff_t>(peak.sample);
                return std::abs(apart) <= 19 && std::abs(better.offset - peak.offset) <= 4;
            };
            if (std::ranges::none_of(kept, is_close)) kept.push_back(peak);
        }
        return kept;
    }
    std::size_t samples() const { return rows_.front().size(); }
    int most() const { return most_; }

private:
    int most_ = 0;
    std::vector<std::vector<float>> rows_;
};

burst_place place_of(const cell &found)
{
    return {static_cast<double>(found.sample),
            1e-6 * reference::pilot_map::kOffsetStep * found.offset};
}

std::vector<copy_set> candidates_of(const reference::pilot_map &map, std::size_t copies)
{
    std::vector<copy_set> candidates;
    const write_sums sums{map, std::min<std::size_t>(copies, 5)};
    if (copies < 10) {
        for (const cell &peak : sums.peaks(copies == 1 ? 14 : copies == 2 ? 18 : 23.5f)) {
            copy_set set;
            set.add_write(place_of(peak), copies);
            candidates.push_back(set);
            if (candidates.size() == kMostCandidates) break;
        }
        return candidates;
    }
    struct pair {
        cell first, second;
    };
    std::vector<pair> pairs;
    std::vector<cell> firsts = sums.peaks(14);
    if (firsts.size() > 200) firsts.resize(200);
    for (const cell &first : firsts) {
        cell best{0, 0, 0};
        const auto ends = first.sample + 5 * kFrameSamples;
        for (int offset = std::max(first.offset - 1, -sums.most());
             offset <= std::min(first.offset + 1, sums.most()); ++offset)
            for (std::size_t n = ends + 200; n < std::min(ends + 2200, sums.samples()); ++n)
                if (sums.at(offset, n) > best.energy) best = {offset, n, sums.at(offset, n)};
        if (first.energy + best.energy > 42) pairs.push_back({first, best});
    }
    std::ranges::sort(pairs, [](const pair &a, const pair &b) {
        return a.first.energy + a.second.energy > b.first.energy + b.second.energy;
    });
    for (const pair &both : pairs) {
        copy_set set;
        burst_place second = place_of(both.second);
        second.clock = place_of(both.first).clock;
        set.add_write(place_of(both.first), 5);
        set.add_write(second, 5);
        candidates.push_back(set);
        if (candidates.size() == kMostCandidates) break;
    }
    return candidates;
}

/// What the paths hold whose CRC agrees.
void try_paths(path_list &paths, std::size_t bits, std::uint64_t sent, const copy_set &copies,
               far_result &result)
{
    while (paths.next()) {
        if (!passes_crc_check(paths.bits(), bits)) continue;
        ++result.messages;
        if (message_of(paths.bits(), bits) != sent) continue;
        result.is_right = true;
        result.clock = copies.places[0].clock;
        result.first_sample = copies.places[0].first_sample();
        return;
    }
}

} // namespace

far_result search_scene(const far_scene &scene, std::size_t bits, std::size_t copies,
                        int most_offset)
{
    const auto front = std::make_unique<baseband>();
    const auto tones = std::make_unique<steady_tones>();
    const auto heard = std::make_unique<far_sound>();
    std::vector<float_complex> raw, stretch;
    constexpr std::size_t kBlock = 441;
    for (std::size_t at = 0; at < scene.samples.size(); at += kBlock) {
        const auto count = std::min(kBlock, scene.samples.size() - at);
        front->put(std::span{scene.samples}.subspan(at, count));
        while (std::ssize(raw) < front->size()) raw.push_back(front->at(std::ssize(raw)));
    }
    for (std::size_t n = 0; n < raw.size() + steady_tones::kDelay; ++n) {
        const float_complex cleaned = tones->put(n < raw.size() ? raw[n] : float_complex{});
        if (n < steady_tones::kDelay) continue;
        stretch.push_back(cleaned);
        heard->put(cleaned);
    }
    const reference::pilot_map map{stretch, most_offset};
    far_result result;
    const auto decoder = std::make_unique<burst_decoder>();
    const auto paths = std::make_unique<path_list>();
    const cell_reader reader;
    for (const copy_set &candidate : candidates_of(map, copies)) {
        const double apart = candidate.places[0].first_sample() - scene.first_sample;
        if (std::abs(apart) < 100) result.is_found = true;
        if (!decoder->begin(reader, *heard, candidate)) continue;
        decoder->look(bits);
        paths->begin(decoder->values(), 1);
        try_paths(*paths, bits, scene.message, decoder->copies(), result);
        if (result.is_right) break;
        decoder->look_again();
        decoder->look_again();
        paths->begin(decoder->values(), 64);
        try_paths(*paths, bits, scene.message, decoder->copies(), result);
        if (result.is_right) break;
    }
    return result;
}

} // namespace tonelink::bench
