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

/// The work is cut into slices.
class copy_sum {
public:
    /// Turns to copies at exact places.
    /// @param energies  of their pilots: the loudest copy is what the others are turned to
    void begin(const copy_set &copies, const std::array<float, kMostCopies> &energies);

    /// Does a slice; returns whether it was the last one.
    bool step(const cell_reader &reader, const far_sound &sound);

    /// Whether there is nothing but silence in a copy.
    bool is_silent() const { return is_silent_; }
    const cell_evidence &cells() const { return sum_; }

private:
    void read(std::size_t copy, const cell_reader &reader, const far_sound &sound);
    void turn_copies();
    void add_copies();

    channel_estimate<float> channel_;
    copy_set copies_;
    std::size_t loudest_ = 0;
    std::size_t slices_ = 0; // that are done
    std::array<cell_grid, kMostCopies> cells_;
    std::array<cell_weights, kMostCopies> weights_;
    std::array<subcarrier_evidence, kMostCopies> pilots_;
    std::array<float_complex, kMostCopies> gains_;
    cell_evidence sum_;
    bool is_silent_ = false;
};

} // namespace tonelink
