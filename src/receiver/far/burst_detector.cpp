#include "receiver/far/burst_detector.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>

namespace tonelink {

namespace {

// Sums of q energies of noise exceed T with a probability of exp(-T) times the sum of T^n / n! for
// n below q; 180000 cells a second are independent. These let noise through less than once in two
// seconds, each.
constexpr float kSingleThreshold = 14;
constexpr float kPairThreshold = 18;
constexpr float kWriteThreshold = 23.5f;
constexpr float kTwoWritesThreshold = 42;
/// Of either of two writes.
constexpr float kHalfThreshold = 14;

/// One strong copy lifts every sum that it is in: without it, a sum must have so much left.
constexpr float kPairRest = 4;
constexpr float kWriteRest = 6;
constexpr float kHalfRest = 9;

/// From the end of a write to the next one: baseband samples.
constexpr int64_t kShortestPause = 200;
constexpr int64_t kLongestPause = 2200;

constexpr std::size_t kWriteCopies = 5;

/// A perfect burst has about 335, more where its subcarriers differ. A sum of five fits 16 bits.
constexpr float kMostEnergy = 800;
constexpr float kRounding = 0.5f; // to the nearest whole number

/// How many places before the newest copy another one lies, by offsets.
constexpr auto kDistances = [] {
    std::array<std::array<int64_t, kWriteCopies + 1>, kMapOffsets> distances{};
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset)
        for (std::size_t copies = 0; copies <= kWriteCopies; ++copies)
            distances[offset][copies] = static_cast<int64_t>(
                kCopyDistance * static_cast<double>(copies) / (1 + offset_of(offset)) +
                double{kRounding});
    return distances;
}();
int64_t distance_of(std::size_t copies, std::size_t offset) { return kDistances[offset][copies]; }

float threshold_of(std::size_t copies)
{
    switch (copies) {
    case 1: return kSingleThreshold;
    case 2: return kPairThreshold;
    case kWriteCopies: return kWriteThreshold;
    default: return kTwoWritesThreshold;
    }
}

} // namespace

float detection::excess() const { return first.energy - threshold_of(copies); }

copy_set detection::places() const
{
    const double clock = offset_of(static_cast<std::size_t>(first.offset));
    copy_set set;
    set.add_write({pilot_map::sample_at(first.place), clock}, std::min(copies, kWriteCopies));
    if (copies > kWriteCopies)
        set.add_write({pilot_map::sample_at(second), clock}, copies - kWriteCopies);
    return set;
}

void burst_detector::restart()
{
    map_.restart();
    for (row &offset : rows_) offset.fill(0);
    singles_.restart();
    pairs_.restart();
    writes_.restart();
    heard_count_ = 0;
    oldest_write_ = 0;
    found_count_ = 0;
}

bool burst_detector::put(float_complex sample)
{
    if (!map_.put(sample)) return false;
    if (map_.first_place() < 0) return true;
    keep_block();
    sum_copies();
    decide();
    return true;
}

bool burst_detector::take(detection &found)
{
    if (found_count_ == 0) return false;
    found = found_[0];
    std::copy(found_.begin() + 1, found_.begin() + static_cast<std::ptrdiff_t>(found_count_),
              found_.begin());
    --found_count_;
    return true;
}

float burst_detector::energy(std::size_t offset, int64_t place) const
{
    assert(place < map_.first_place() + pilot_map::kBlock &&
           place >= map_.first_place() + pilot_map::kBlock - int64_t{kPlaces});
    if (place < 0) return 0; // before the stream
    return kStep * rows_[offset][static_cast<std::size_t>(place) % kPlaces];
}

void burst_detector::keep_block()
{
    const auto first = static_cast<std::size_t>(map_.first_place()) % kPlaces;
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
        block_sums block;
        for (std::size_t delay = 0; delay < kMapDelays; ++delay) {
            const auto &energies = map_.energies(offset, delay);
            for (std::size_t hop = 0; hop < kMapHops; ++hop)
                block[kMapHop * hop + delay] = static_cast<uint16_t>(static_cast<int>(
                    std::max(0.0f, std::min(energies[hop], kMostEnergy)) * (1 / kStep) + // 0 if NaN
                    kRounding));
        }
        row &kept = rows_[offset];
        std::copy(block.begin(), block.end(), kept.begin() + static_cast<std::ptrdiff_t>(first));
        if (first == 0) std::copy(block.begin(), block.end(), kept.end() - kBlockPlaces);
    }
}

/// Of bursts of which the newest copy lies in the newest block.
void burst_detector::sum_copies()
{
    const auto newest = static_cast<std::size_t>(map_.first_place()) % kPlaces;
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
        block_sums sums{};
        for (std::size_t copy = 0; copy < kWriteCopies; ++copy) {
            const auto back = static_cast<std::size_t>(distance_of(copy, offset));
            const uint16_t *energies = &rows_[offset][(newest + kPlaces - back) % kPlaces];
            for (std::size_t place = 0; place < kBlockPlaces; ++place)
                sums[place] = static_cast<uint16_t>(sums[place] + energies[place]);
            if (copy == 0) offer(singles_, kSingleThreshold, sums, offset);
            if (copy == 1) offer(pairs_, kPairThreshold, sums, offset);
        }
        offer(writes_, kHalfThreshold, sums, offset);
    }
}

/// Cells over a threshold that are no lower than those a sample earlier and later.
void burst_detector::offer(peak_picker &picker, float threshold, const block_sums &sums,
                           std::size_t offset) const
{
    const auto limit = static_cast<uint16_t>(threshold / kStep);
    uint16_t most = 0;
    for (const uint16_t sum : sums) most = std::max(most, sum);
    if (most < limit) return;
    // Most cells are no peaks: these are found side by side, without a branch.
    std::array<uint16_t, kBlockPlaces + 2> between{}; // zeros at both ends
    std::copy(sums.begin(), sums.end(), between.begin() + 1);
    std::array<uint16_t, kBlockPlaces> peaks;
    for (std::size_t place = 0; place < kBlockPlaces; ++place) {
        const uint16_t before = between[place], sum = between[place + 1],
                       after = between[place + 2];
        const uint16_t least = std::max(std::max(before, after), limit);
        peaks[place] = sum >= least ? sum : uint16_t{0};
    }
    constexpr std::size_t kTogether = sizeof(uint64_t) / sizeof(uint16_t);
    for (std::size_t first = 0; first < kBlockPlaces; first += kTogether) {
        uint64_t any = 0;
        std::memcpy(&any, &peaks[first], sizeof any);
        if (any == 0) continue;
        for (std::size_t place = first; place < first + kTogether; ++place)
            if (peaks[place] != 0)
                picker.offer({map_.first_place() + static_cast<int64_t>(place),
                              static_cast<int>(offset), static_cast<float>(peaks[place]) * kStep});
    }
}

void burst_detector::decide()
{
    const int64_t end = map_.first_place() + pilot_map::kBlock;
    // Cells tell of the newest copy, detections of the first one.
    const auto begin = [](map_cell cell, std::size_t copies) {
        cell.place -= distance_of(copies - 1, static_cast<std::size_t>(cell.offset));
        return cell;
    };
    singles_.decide(end, [&](const map_cell &cell) { find({cell, 0, 1}); });
    pairs_.decide(end, [&](const map_cell &cell) {
        const map_cell pair = begin(cell, 2);
        if (rest_of(pair, 2) >= kPairRest) find({pair, 0, 2});
    });
    writes_.decide(end, [&](const map_cell &cell) {
        const map_cell write = begin(cell, kWriteCopies);
        const float rest = rest_of(write, kWriteCopies);
        if (write.energy >= kWriteThreshold && rest >= kWriteRest) find({write, 0, kWriteCopies});
        if (rest < kHalfRest) return;
        pair_writes(write);
        heard_writes_[static_cast<std::size_t>(heard_count_++ % heard_writes_.size())] = write;
    });
}

/// What a sum is without its strongest copy.
float burst_detector::rest_of(const map_cell &first, std::size_t copies) const
{
    const auto offset = static_cast<std::size_t>(first.offset);
    float strongest = 0;
    for (std::size_t copy = 0; copy < copies; ++copy) {
        const int64_t later =
            distance_of(copies - 1, offset) - distance_of(copies - 1 - copy, offset);
        strongest = std::max(strongest, energy(offset, first.place + later));
    }
    return first.energy - strongest;
}

/// Two writes, a pause between them.
void burst_detector::pair_writes(const map_cell &second)
{
    detection best;
    const auto kept = std::min<uint64_t>(heard_count_, heard_writes_.size());
    oldest_write_ = std::max(oldest_write_, heard_count_ - kept);
    // They came in order of time, but for some ten milliseconds.
    constexpr int64_t kDisorder = 500;
    const int64_t shortest = distance_of(kWriteCopies, kMapOffsets / 2) + kShortestPause;
    for (uint64_t n = oldest_write_; n < heard_count_; ++n) {
        const map_cell &first = heard_writes_[static_cast<std::size_t>(n % heard_writes_.size())];
        const int64_t apart = second.place - first.place;
        if (n == oldest_write_ && apart > shortest + kLongestPause + kDisorder) ++oldest_write_;
        if (apart < shortest - kDisorder) break;
        const int64_t pause =
            apart - distance_of(kWriteCopies, static_cast<std::size_t>(first.offset));
        if (pause < kShortestPause || pause > kLongestPause ||
            std::abs(first.offset - second.offset) > 1)
            continue;
        const float energy = first.energy + second.energy;
        if (energy < kTwoWritesThreshold || energy <= best.first.energy) continue;
        best = {{first.place, first.offset, energy}, second.place, 2 * kWriteCopies};
    }
    if (best.copies > 1) find(best);
}

void burst_detector::find(const detection &found)
{
    if (found_count_ < found_.size()) found_[found_count_++] = found;
}

} // namespace tonelink
