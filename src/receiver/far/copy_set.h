// The copies of a burst that are taken together: where each of them lies.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "receiver/symbol_spectra.h"

namespace tonelink {

/// As many copies as two writes of a transmission hold.
inline constexpr std::size_t kMostCopies = 10;

/// In a write, copies follow each other without a gap.
inline constexpr double kCopyDistance = double{kFrameSamples}; // baseband samples of the sender

struct copy_set {
    std::array<burst_place, kMostCopies> places;
    std::size_t count = 0;
    std::size_t second_write = 0; ///< the first copy behind the pause; `count`: there is none

    /// The first copy of the write that a copy belongs to.
    std::size_t first_of_write(std::size_t copy) const
    {
        return copy < second_write ? 0 : second_write;
    }

    /// Adds a write of copies at some places, and of `more` behind them.
    void add_write(std::span<const burst_place> some, std::size_t more)
    {
        second_write = count;
        for (const burst_place &place : some) places[count++] = place;
        for (; more > 0; --more, ++count) {
            const burst_place last = places[count - 1];
            places[count] = {last.first_body + kCopyDistance / (1 + last.clock), last.clock};
        }
        if (second_write == 0) second_write = count;
    }

    /// Adds a write of `copies`, of which the first has the place given.
    void add_write(const burst_place &first, std::size_t copies)
    {
        second_write = count;
        for (std::size_t c = 0; c < copies; ++c) {
            const double later = kCopyDistance * static_cast<double>(c) / (1 + first.clock);
            places[count++] = {first.first_body + later, first.clock};
        }
        if (second_write == 0) second_write = count;
    }
};

} // namespace tonelink
