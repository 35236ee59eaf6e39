// The pilots' matched filter for one place and one clock, as it is defined: what the pilot map is
// held to.
#pragma once

#include <span>

#include "receiver/float_complex.h"

namespace tonelink::reference {

/// What the pilots of a burst add up to whose first body begins at a sample of the baseband and
/// whose clock runs faster by a share: 1 on average in noise of any level, and exponential.
float pilot_energy(std::span<const float_complex> sound, double first_body, double clock);

} // namespace tonelink::reference
