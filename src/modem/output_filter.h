// The output filter, through which every burst of a handle goes: it takes away what speakers and
// ears would make of the burst below 17 kHz. One filter serves the process; its histories run on.
#pragma once

#include <cstdint>
#include <span>

#include "modem/vector_stages.h"

/// The last three inputs, divided by the gain, and the last three outputs; oldest first.
extern float xv[3];
extern float yv[3];

namespace tonelink {

/// Filters samples in place.
void filter_output(std::span<int16_t> samples, const vector_stages &stages = fastest_stages());

} // namespace tonelink
