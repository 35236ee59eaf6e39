// The pilots' matched filter over time and clock, cell by cell as it is defined: what the fast map
// is held to.
#pragma once

#include <span>
#include <vector>

#include "receiver/float_complex.h"

namespace tonelink::reference {

/// Of a stretch of baseband as a whole.
class pilot_map {
public:
    static constexpr int kOffsetStep = 50; // ppm

    /// @param sound  the stretch
    /// @param most   offsets reach from -most to most steps
    pilot_map(std::span<const float_complex> sound, int most);

    /// What the pilots of a burst add up to whose first body begins at a sample and whose clock
    /// runs fast by so many steps: 1 on average in noise of any level, and exponential.
    float at(int offset, std::size_t sample) const
    {
        return energies_[static_cast<std::size_t>(offset + most_)][sample];
    }

    /// How many samples a burst can begin at.
    std::size_t samples() const { return energies_.front().size(); }
    int most() const { return most_; }

private:
    int most_;
    std::vector<std::vector<float>> energies_;
};

} // namespace tonelink::reference
