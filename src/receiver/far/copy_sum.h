// Adds up the copies of a burst, each turned to where the others are and counted by how well it is
// heard: maximum ratio combining. Between copies the sender's oscillator has run on, so each has a
// gain of its own, which nothing but its pilots tells.
// Source: D. G. Brennan, "Linear diversity combining techniques", 1959.
#pragma once

#include "receiver/far/cell_reader.h"
#include "receiver/far/cell_weights.h"
#include "receiver/far/channel_estimate.h"
#include "receiver/far/copy_set.h"

namespace tonelink {

class copy_sum {
public:
    /// Reads the copies and adds them up.
    /// @param energies  of their pilots: the loudest copy is what the others are turned to
    /// @returns whether there is anything but silence
    bool add_up(const cell_reader &reader, const far_sound &sound, const copy_set &copies,
                const std::array<float, kMostCopies> &energies);

    const cell_evidence &cells() const { return sum_; }

private:
    void find_gains(std::size_t count, std::size_t loudest);
    void add_copies(std::size_t count);

    channel_estimate<float> channel_;
    std::array<cell_grid, kMostCopies> cells_;
    std::array<cell_weights, kMostCopies> weights_;
    std::array<subcarrier_evidence, kMostCopies> pilots_;
    std::array<float_complex, kMostCopies> gains_;
    cell_evidence sum_;
};

} // namespace tonelink
