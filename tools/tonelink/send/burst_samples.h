// The burst of a message as samples, made by the library.
#pragma once

#include <cstdint>
#include <vector>

#include "message.h"

namespace tonelink::tool {

// Each throws std::bad_alloc.

/// The burst as the modem makes it, its peak at full scale.
std::vector<int16_t> modem_burst(const message_bits &message);

/// The burst as a transmission plays it: through the output filter.
std::vector<int16_t> transmitted_burst(const message_bits &message);

} // namespace tonelink::tool
