// The band shifter sample by sample: the definition that its fast form is held to, and what shifts
// where a caller has given a record coefficients or a delay line of its own.
#pragma once

#include <cstdint>
#include <span>

#include "tonelink/modem.h"

namespace tonelink::reference {

/// Does what makeBandShift() does, on an open record.
void shift_band(std::span<int16_t> samples, BandShiftInfo &info);

} // namespace tonelink::reference
