// Reads the cells of a burst out of the baseband, for a start and a clock that are known well.
#pragma once

#include "receiver/far/cells.h"
#include "receiver/far/far_sound.h"
#include "receiver/fourier_transform.h"

namespace tonelink {

class cell_reader {
public:
    cell_reader();

    /// What the guard before and behind a body is used for. Its outer samples are left alone in
    /// either case: for echoes, and for a start that is not exact.
    enum class guard {
        left,     ///< nothing: for a start that is a few samples off
        averaged, ///< the body's ends are averaged with their copies in it: less noise
    };

    void read(const far_sound &sound, const burst_place &place, guard use, cell_grid &cells) const;

private:
    fourier_transform<kBodySamples> transform_;
    std::array<float_complex, 256> phases_; // of the scrambling
};

} // namespace tonelink
