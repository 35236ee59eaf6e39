// The identity that a pairing message carries, as process-wide state.
#pragma once

#include "tonelink/payload.h"

#include <cstdint>

namespace tonelink {

/// Generate_Random_PIN(), which tells what it has drawn, whatever other threads draw meanwhile.
int32_t draw_random_pin();

} // namespace tonelink

extern int32_t pin_num;          ///< the PIN drawn last
extern int32_t application_mode; ///< kept for callers
