// The modem's transforms: 128 real samples of a symbol from its 64 bins, and back. The exported
// transforms over the same arithmetic are declared in tonelink/modem.h.
#pragma once

#include <cstdint>
#include <span>

#include "modem/burst_format.h"

namespace tonelink {

/// Makes a symbol's body from its bins; returns the block exponent.
int32_t inverse_symbol_transform(std::span<const cplx16, kSpectrumSize> spectrum,
                                 std::span<int16_t, kBodySamples> body);

/// Makes the bins from a symbol's body; returns the block exponent.
int32_t forward_symbol_transform(std::span<const int16_t, kBodySamples> body,
                                 std::span<cplx16, kSpectrumSize> spectrum);

} // namespace tonelink
