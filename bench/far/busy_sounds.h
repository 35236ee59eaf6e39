// Sounds without a burst in them that look like bursts to a detector, many times a second. Each is
// made block by block, for ever, as those of link/everyday_sounds.h are.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "link/sound.h"

namespace tonelink::bench {

/// Loud tones that sweep through the band, ten times a second, in faint noise.
class sweep_source {
public:
    explicit sweep_source(uint64_t seed) : random_{seed} {}
    std::vector<int16_t> next();

private:
    generator random_;
    double hz_ = 0;
    double phase_ = 0; // turns
};

/// Loud tones all over the band, each keyed on and off at moments of its own, in faint noise.
class keyed_source {
public:
    explicit keyed_source(uint64_t seed);
    std::vector<int16_t> next();

private:
    struct tone {
        double hz = 0, phase = 0;
        bool is_on = false;
        std::size_t left = 0; ///< samples to the next change
    };

    generator random_;
    std::array<tone, 8> tones_{};
};

} // namespace tonelink::bench
