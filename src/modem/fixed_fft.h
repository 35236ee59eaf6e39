// The modem's transforms: 128 real samples of a symbol from its 64 subcarriers, and back. The
// exported transforms over the same arithmetic are declared in tonelink/modem.h.
#pragma once

#include <cstdint>
#include <span>

#include "modem/burst_format.h"

namespace tonelink {

// A stage of a transform that meets a part of larger magnitude halves its data.
inline constexpr int16_t kForwardThreshold = 14000;
inline constexpr int16_t kInverseThreshold = 16383;

/// Makes a symbol's body from its subcarriers; returns the block exponent.
int32_t inverse_symbol_transform(std::span<const cplx16, kSpectrumSize> spectrum,
                                 std::span<int16_t, kBodySamples> body);

/// Makes the subcarriers from a symbol's body; returns the block exponent.
int32_t forward_symbol_transform(std::span<const int16_t, kBodySamples> body,
                                 std::span<cplx16, kSpectrumSize> spectrum);

} // namespace tonelink
