// From the baseband rate of 4410 Hz to the output rate of 44100 Hz.
#pragma once

#include "modem/burst_format.h"
#include "modem/vector_stages.h"

namespace tonelink {

/// Interpolates a frame by 10 through the filter `b_flt_ups`, from rest.
void interpolate_by_10(const frame_samples &frame, burst_span burst,
                       const vector_stages &stages = fastest_stages());

} // namespace tonelink
