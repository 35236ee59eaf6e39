// Finds the exact place and clock of copies that were detected: those with which their pilots add
// up best.
#pragma once

#include "receiver/far/cell_reader.h"
#include "receiver/far/copy_set.h"

namespace tonelink {

class copy_refiner {
public:
    /// Corrects the places of copies that are off by up to 3 samples and 40 ppm. Copies whose own
    /// clocks differ, as a moving listener's do, get their own where that is worth more than noise.
    /// @param energies  what the pilots of each copy add up to; in noise it is 1 on average
    void refine(const cell_reader &reader, const far_sound &sound, copy_set &copies,
                std::array<float, kMostCopies> &energies);

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

    void add_up_pilots(std::size_t copy, double clock);
    float energy_at(std::size_t copy, double late) const;
    joint_correction try_together(const copy_set &copies, double clock);
    correction try_alone(std::size_t copy, const correction &around);

    std::array<cell_grid, kMostCopies> cells_;
    std::array<float, kMostCopies> noise_;
    subcarrier_row pilots_; // of one copy, the turn of a clock taken out
};

} // namespace tonelink
