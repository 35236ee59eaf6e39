// The bursts of the probe, as a receiver hears them.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace tonelink::tool {

struct probe_bursts {
    int64_t heard = 0;
    std::optional<double> snr_db; ///< of the clearest
};

/// None at a rate that the receiver does not take.
/// @param rate  of the recording, samples a second
probe_bursts hear_probe_bursts(std::span<const float> recording, double rate);

} // namespace tonelink::tool
