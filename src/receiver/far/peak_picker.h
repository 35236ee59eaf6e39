// Picks the peaks of a map over time and clock as it grows.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

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
    static constexpr int32_t kClosePlaces = 19;
    static constexpr int kCloseOffsets = 4;

    void restart() { count_ = 0; }

    /// Takes a cell; of too many the weakest are lost.
    void offer(const map_cell &cell)
    {
        if (count_ == kMostCells && cell.energy <= weakest_) return;
        // Places are told apart by their last bits, as cells do not wait for long.
        const auto place = static_cast<uint32_t>(cell.place);
        unsigned close = 0, better = 0;
        for (std::size_t n = 0; n < count_; ++n) {
            const unsigned is_close = is_close_to(n, place, cell.offset);
            close |= is_close;
            better |= is_close & (energies_[n] >= cell.energy ? 1u : 0u);
        }
        if (better != 0) return;
        if (close != 0) keep([&](std::size_t n) { return !is_close_to(n, place, cell.offset); });
        const std::size_t at = count_ < kMostCells ? count_++ : find_weakest();
        places_[at] = place;
        offsets_[at] = cell.offset;
        energies_[at] = cell.energy;
        if (count_ == kMostCells) weakest_ = energies_[find_weakest()];
    }

    /// Tells `peak` of the peaks that are known when the map has grown to `end`.
    template <class Peak> void decide(int64_t end, Peak &&peak)
    {
        keep([&](std::size_t n) {
            const int64_t place =
                end - static_cast<int32_t>(static_cast<uint32_t>(end) - places_[n]);
            const bool is_decided = place + kClosePlaces < end;
            if (is_decided) peak(map_cell{place, offsets_[n], energies_[n]});
            return !is_decided;
        });
    }

private:
    static constexpr std::size_t kMostCells = 96;

    unsigned is_close_to(std::size_t n, uint32_t place, int offset) const
    {
        const auto later = static_cast<int32_t>(places_[n] - place);
        const int faster = offsets_[n] - offset;
        return (later <= kClosePlaces ? 1u : 0u) & (later >= -kClosePlaces ? 1u : 0u) &
               (faster <= kCloseOffsets ? 1u : 0u) & (faster >= -kCloseOffsets ? 1u : 0u);
    }

    template <class Condition> void keep(const Condition &is_kept)
    {
        std::size_t kept = 0;
        for (std::size_t n = 0; n < count_; ++n) {
            if (!is_kept(n)) continue;
            places_[kept] = places_[n];
            offsets_[kept] = offsets_[n];
            energies_[kept++] = energies_[n];
        }
        count_ = kept;
    }

    std::size_t find_weakest() const
    {
        const float *const first = energies_.data();
        return static_cast<std::size_t>(std::min_element(first, first + count_) - first);
    }

    // Side by side, as an offer is compared with all of them.
    std::array<uint32_t, kMostCells> places_;
    std::array<int32_t, kMostCells> offsets_;
    std::array<float, kMostCells> energies_;
    std::size_t count_ = 0;
    float weakest_ = 0; // energy, when there is no room for another cell
};

} // namespace tonelink
