// The band shifter sample by sample: the definition that its fast form is held to.
#pragma once

#include <cstdint>

#include "tonelink/modem.h"

namespace tonelink::reference {

/// Does what makeBandShift() does, on an open record.
void shift_band(int16_t *samples, int32_t count, BandShiftInfo &info);

} // namespace tonelink::reference
