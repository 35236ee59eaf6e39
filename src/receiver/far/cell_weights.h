// How much each cell of a copy is to be trusted: the noise of them all, and less for symbols with
// clicks and subcarriers with tones.
#pragma once

#include "receiver/far/cells.h"

namespace tonelink {

struct cell_weights {
    std::array<float, kSymbols> symbol;
    std::array<float, kSubcarriers> subcarrier;
    float noise = 0; ///< variance of a cell of weight 1; 0: silence, or no cell can be trusted

    /// How much better than with the noise above alone a cell is known, 0 to 1.
    float of(std::size_t s, std::size_t i) const { return symbol[s] * subcarrier[i]; }
};

cell_weights weigh_cells(const cell_grid &cells);

/// A copy's cells as evidence, by their weights.
void weight_evidence(const cell_grid &cells, const cell_weights &weights, cell_evidence &evidence);

} // namespace tonelink
