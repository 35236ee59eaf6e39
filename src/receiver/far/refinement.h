// Finds the exact place and clock of copies that were detected: those with which their pilots add
// up best.
#pragma once

#include "receiver/far/cell_reader.h"
#include "receiver/far/copy_set.h"

namespace tonelink {

/// The work is cut into slices, so that a stream's receiver can spread it over time.
class copy_refiner {
public:
    /// Turns to copies whose places are off by up to 3 samples and 40 ppm. Copies whose own clocks
    /// differ, as a moving listener's do, get their own where that is worth more than noise.
    void begin(const copy_set &copies);

    /// Does a slice; returns whether it was the last one.
    bool step(const cell_reader &reader, const far_sound &sound);

    /// With corrected places.
    const copy_set &copies() const { return copies_; }
    /// What the pilots of a copy add up to; in noise it is 1 on average.
    const std::array<float, kMostCopies> &energies() const { return energies_; }

private:
    /// What is added to a clock and a start.
    struct correction {
        double clock = 0;
        double late = 0; // samples
        float energy = 0;
    };
    /// For all copies: the writes come late each by its own time.
    struct joint_correction {
        double clock = 0;
        std::array<double, 2> late{};
        float energy = 0;
    };

    void read(std::size_t copy, const cell_reader &reader, const far_sound &sound);
    void add_up_pilots(std::size_t copy, double clock);
    float energy_at(std::size_t copy, double late) const;
    joint_correction try_together(double clock);
    correction take_together(std::size_t copy);
    correction try_alone(std::size_t copy, const correction &around);
    void settle();

    copy_set copies_;
    std::array<float, kMostCopies> energies_;
    std::size_t slices_ = 0; // that are done
    std::array<cell_grid, kMostCopies> cells_;
    std::array<float, kMostCopies> noise_;
    subcarrier_row pilots_; // of one copy, the turn of a clock taken out
    joint_correction joint_;
    double middle_ = 0; // of the clocks that are tried
    std::array<correction, kMostCopies> together_, alone_;
};

} // namespace tonelink
