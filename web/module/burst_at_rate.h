// A burst at the rate of a sound device: what plays it then has nothing to convert, and converts no
// band away.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"

namespace tonelink::web {

/// How many samples the burst has at a rate.
std::size_t burst_length_at(int32_t rate);

/// The burst at a rate of 42000 to 384000 Hz: at 44100 its samples as they are, at others through a
/// filter that is flat in the band and keeps images 96 dB down. Full scale is 1; a burst whose
/// samples would go beyond it is scaled down to it.
/// @param samples  burst_length_at(rate) of them
void burst_at_rate(std::span<const int16_t, kBurstSamples> burst, int32_t rate,
                   std::span<float> samples);

} // namespace tonelink::web
