// The interpolator by its formula: the definition that its fast form is held to.
#pragma once

#include "modem/burst_format.h"

namespace tonelink::reference {

/// Does what tonelink::interpolate_by_10() does.
void interpolate_by_10(const frame_samples &frame, burst_span burst);

} // namespace tonelink::reference
