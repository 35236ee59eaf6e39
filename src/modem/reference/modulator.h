// The modulator symbol by symbol: the definition that its fast form is held to.
#pragma once

#include "modem/modulator.h"

namespace tonelink::reference {

/// The angle 2 pi `index` / 256 as cosine and sine in Q15; 0 <= index < 256.
cplx16 phase_factor(int16_t index);

/// Does what tonelink::scramble() does.
symbol_spectrum scramble(const subcarrier_amplitudes &amplitudes, std::size_t symbol);

/// Does what tonelink::modulate_symbols() does.
frame_samples modulate_symbols(const channel_bits &bits);

} // namespace tonelink::reference
