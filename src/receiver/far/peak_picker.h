// Picks the peaks of a map over time and clock as it grows.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace tonelink {

/// A cell of the map.
struct map_cell {
    int64_t place = 0;
    int offset = 0; ///< row of the clock offset
    float energy = 0;
};

/// Keeps what has no better cell close to it. A burst is a few samples and offsets wide.
class peak_picker {
public:
    static constexpr int64_t kClosePlaces = 19;
    static constexpr int kCloseOffsets = 4;

    void restart() { count_ = 0; }

    /// Takes a cell; of too many the weakest are lost.
    void offer(const map_cell &cell)
    {
        if (count_ == cells_.size() && cell.energy <= weakest_) return;
        const auto is_close = [&](const map_cell &other) {
            return std::abs(other.place - cell.place) <= kClosePlaces &&
                   std::abs(other.offset - cell.offset) <= kCloseOffsets;
        };
        const auto end = cells_.begin() + static_cast<std::ptrdiff_t>(count_);
        if (std::any_of(cells_.begin(), end, [&](const map_cell &other) {
                return other.energy >= cell.energy && is_close(other);
            }))
            return;
        count_ = static_cast<std::size_t>(std::remove_if(cells_.begin(), end, is_close) -
                                          cells_.begin());
        if (count_ < cells_.size()) {
            cells_[count_++] = cell;
            if (count_ == cells_.size()) weakest_ = find_weakest()->energy;
            return;
        }
        *find_weakest() = cell;
        weakest_ = find_weakest()->energy;
    }

    /// Tells `peak` of the peaks that are known when the map has grown to `end`.
    template <class Peak> void decide(int64_t end, Peak &&peak)
    {
        std::size_t kept = 0;
        for (std::size_t n = 0; n < count_; ++n) {
            if (cells_[n].place + kClosePlaces < end)
                peak(cells_[n]);
            else
                cells_[kept++] = cells_[n];
        }
        count_ = kept;
    }

private:
    map_cell *find_weakest()
    {
        return std::min_element(
            cells_.data(), cells_.data() + count_,
            [](const map_cell &a, const map_cell &b) { return a.energy < b.energy; });
    }

    std::array<map_cell, 96> cells_;
    std::size_t count_ = 0;
    float weakest_ = 0; // energy, when there is no room for another cell
};

} // namespace tonelink
