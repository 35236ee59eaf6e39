// The level of a sound in the band of the bursts, for a meter.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "windowed_transform.h"

namespace tonelink::tool {

class band_meter {
public:
    band_meter();

    /// Takes the next samples at 44100 Hz.
    void put(std::span<const int16_t> samples);

    /// The mean level of what came since the last call, in dB: 0 for a sine of full scale, -100 at
    /// the least. The last one again when that is too little to look at.
    double take_level();

private:
    void measure();

    windowed_transform transform_;
    std::size_t fill_ = 0;
    double power_ = 0;
    int windows_ = 0;
    double level_ = -100;
};

} // namespace tonelink::tool
