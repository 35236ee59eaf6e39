#include "receiver/far/burst_detector.h"

#include <algorithm>
#include <cmath>

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

/// A perfect burst has about 335.
constexpr float kMostEnergy = 1000;
constexpr float kRounding = 0.5f; // to the nearest step of the map

/// How many places before the newest copy another one lies.
int64_t distance_of(std::size_t copies, std::size_t offset)
{
    return std::llround(kCopyDistance * static_cast<double>(copies) / (1 + offset_of(offset)));
}

/// Where a place before the block's first hop lies: hops back, and the delay.
struct map_place {
    int64_t hop;
    std::size_t delay;
};
map_place split(int64_t place)
{
    constexpr int64_t kHop = kMapHop;
    const int64_t hop = (place >= 0 ? place : place - (kHop - 1)) / kHop;
    return {hop, static_cast<std::size_t>(place - hop * kHop)};
}

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
    for (auto &offset : columns_)
        for (column &delay : offset) delay.fill(0);
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
    const int64_t end = map_.first_place() + pilot_map::kBlock;
    if (place < 0 || place >= end || place < end - int64_t{kColumns * kMapHop}) return 0;
    const map_place at = split(place);
    return kStep * columns_[offset][at.delay][static_cast<std::size_t>(at.hop) % kColumns];
}

void burst_detector::keep_block()
{
    const auto first = static_cast<std::size_t>(map_.first_place() / int64_t{kMapHop}) % kColumns;
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
        for (std::size_t delay = 0; delay < kMapDelays; ++delay) {
            const auto &energies = map_.energies(offset, delay);
            row values;
            for (std::size_t hop = 0; hop < kMapHops; ++hop)
                values[hop] = static_cast<uint16_t>(
                    std::min(energies[hop], kMostEnergy) * (1 / kStep) + kRounding);
            column &kept = columns_[offset][delay];
            std::copy(values.begin(), values.end(),
                      kept.begin() + static_cast<std::ptrdiff_t>(first));
            if (first == 0) std::copy(values.begin(), values.end(), kept.end() - kMapHops);
        }
    }
}

/// Of bursts of which the newest copy lies in the newest block.
void burst_detector::sum_copies()
{
    const auto newest = static_cast<std::size_t>(map_.first_place() / int64_t{kMapHop}) % kColumns;
    for (std::size_t offset = 0; offset < kMapOffsets; ++offset) {
        block_sums sums{};
        for (std::size_t copy = 0; copy < kWriteCopies; ++copy) {
            const map_place at = split(-distance_of(copy, offset));
            for (std::size_t delay = 0; delay < kMapDelays; ++delay) {
                const std::size_t later = at.delay + delay;
                const std::size_t from =
                    newest + kColumns - static_cast<std::size_t>(-at.hop) + later / kMapHop;
                const uint16_t *energies = &columns_[offset][later % kMapHop][from % kColumns];
                for (std::size_t hop = 0; hop < kMapHops; ++hop) sums[delay][hop] += energies[hop];
            }
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
    const auto limit = static_cast<uint32_t>(threshold / kStep);
    uint32_t most = 0;
    for (const auto &delay : sums)
        for (const uint32_t sum : delay) most = std::max(most, sum);
    if (most < limit) return;
    for (std::size_t hop = 0; hop < kMapHops; ++hop) {
        for (std::size_t delay = 0; delay < kMapDelays; ++delay) {
            const uint32_t sum = sums[delay][hop];
            if (sum < limit || (delay > 0 && sums[delay - 1][hop] > sum) ||
                (delay + 1 < kMapDelays && sums[delay + 1][hop] > sum))
                continue;
            const int64_t place = map_.first_place() +
                                  int64_t{kMapHop} * static_cast<int64_t>(hop) +
                                  static_cast<int64_t>(delay);
            picker.offer({place, static_cast<int>(offset), static_cast<float>(sum) * kStep});
        }
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
