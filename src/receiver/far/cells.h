// The cells of a burst: what one subcarrier holds in one symbol, and what is known of it.
#pragma once

#include <array>
#include <cstddef>

#include "receiver/symbol_spectra.h"

namespace tonelink {

/// Half of the cells are pilots.
inline constexpr int kPilotCount = kSymbols * kSubcarriers / 2;

/// One copy's cells as they were received: a pilot is the channel, a datum the channel or its
/// negative, and noise.
using cell_grid = std::array<subcarrier_row, kSymbols>;

/// A real number for each cell.
using cell_row = std::array<float, kSubcarriers>;
using cell_numbers = std::array<cell_row, kSymbols>;

/// What the copies of a burst say together about each cell: the estimate of channel times datum is
/// value / weight, and the variance of its noise is 1 / weight.
struct cell_evidence {
    cell_grid value;
    cell_numbers weight;
};

/// What each cell is expected to be, -1 to 1: 1 for pilots, 0 for a datum of which nothing is
/// known.
using expected_cells = cell_numbers;

/// Before anything is known about the data.
constexpr expected_cells pilots_alone()
{
    expected_cells expected{};
    for (std::size_t s = 0; s < kSymbols; ++s)
        for (std::size_t i = 0; i < kSubcarriers; ++i) expected[s][i] = holds_pilot(s, i) ? 1 : 0;
    return expected;
}

} // namespace tonelink
