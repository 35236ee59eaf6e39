// A channel that turns while the burst goes on, because the listener moves: its gain in each
// symbol. Source: the posterior mean of a Gaussian process, C. E. Rasmussen and C. K. I. Williams,
// "Gaussian processes for machine learning", 2006.
#pragma once

#include "receiver/far/channel_estimate.h"

namespace tonelink {

/// Without movement.
constexpr symbol_gains steady_gains()
{
    symbol_gains gains{};
    for (float_complex &gain : gains) gain = {1, 0};
    return gains;
}

class turning_channel {
public:
    turning_channel();

    /// The gains of the symbols for a channel that is known; those of symbols that lie close
    /// together differ little.
    symbol_gains estimate(const cell_evidence &cells, const expected_cells &expected,
                          const subcarrier_row &channel) const;

private:
    std::array<double, kSymbols> likeness_; // of two symbols by their distance
};

} // namespace tonelink
