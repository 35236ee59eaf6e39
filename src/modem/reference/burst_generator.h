// A burst by the reference forms of its stages: the definition that the generator is held to.
#pragma once

#include "modem/burst_format.h"
#include "tonelink/modem.h"

namespace tonelink::reference {

/// Does what tonelink::mirror_spectrum() does.
void mirror_spectrum(burst_span burst);

/// Does what tonelink::normalise_peak() does.
void normalise_peak(burst_span burst);

/// Does what tonelink::make_burst() does.
void make_burst(std::span<const uint8_t> message, bool invert, BandShiftInfo &shifter,
                burst_span burst);

} // namespace tonelink::reference
