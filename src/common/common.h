// The identity that a pairing message carries, as process-wide state.
#pragma once

#include "tonelink/payload.h"

#include <cstdint>

extern int32_t pin_num;          ///< the PIN drawn last
extern int32_t application_mode; ///< kept for callers
