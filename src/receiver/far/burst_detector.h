// Detects bursts far below the noise: peaks of the pilot map, and of its sums over copies, as the
// sound comes in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "receiver/far/copy_set.h"
#include "receiver/far/peak_picker.h"
#include "receiver/far/pilot_map.h"

namespace tonelink {

/// Where bursts may be.
struct detection {
    map_cell first;         ///< of the first copy; the energy is the sum over all
    int64_t second = 0;     ///< the place of the second write's first copy, of ten copies
    std::size_t copies = 1; ///< 1, 2, 5, or 10 in two writes of 5

    /// What the energy is above the threshold of so many copies.
    float excess() const;
    copy_set places() const;
};

class burst_detector {
public:
    explicit burst_detector(const map_stages &stages = fastest_map_stages()) : map_{stages}
    {
        restart();
    }

    /// Begins a new stream.
    void restart();

    /// Takes the next sample of the baseband; returns whether a block of the map was made.
    bool put(float_complex sample);

    /// Takes what the blocks so far have told; false: nothing is left.
    bool take(detection &found);

    /// Of a burst alone, at a place that the map still holds: the last two seconds.
    float energy(std::size_t offset, int64_t place) const;

private:
    static constexpr std::size_t kBlockPlaces = kSymbolSamples;
    static constexpr std::size_t kPlaces = 68 * kBlockPlaces; // four copies back, and a block
    static constexpr float kStep = 1.0f / 16;                 // of the map's numbers
    static constexpr std::size_t kMostFound = 64;

    using row = std::array<uint16_t, kPlaces + kBlockPlaces>; // the first ones again at the end
    using block_sums = std::array<uint16_t, kBlockPlaces>;

    void keep_block();
    void sum_copies();
    void offer(peak_picker &picker, float threshold, const block_sums &sums,
               std::size_t offset) const;
    void decide();
    float rest_of(const map_cell &first, std::size_t copies) const;
    void pair_writes(const map_cell &second);
    void find(const detection &found);

    pilot_map map_;
    std::array<row, kMapOffsets> rows_; // of the last places, as a ring
    peak_picker singles_, pairs_, writes_;
    std::array<map_cell, 1024> heard_writes_; // peaks over five copies, the last ones, in a ring
    uint64_t heard_count_ = 0;
    uint64_t oldest_write_ = 0; // that may be a first one still
    std::array<detection, kMostFound> found_;
    std::size_t found_count_ = 0;
};

} // namespace tonelink
