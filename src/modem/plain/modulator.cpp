#include "modem/plain/modulator.h"

#include <algorithm>

#include "modem/code_tables.h"
#include "modem/fixed_fft.h"
#include "modem/fixed_point.h"

namespace tonelink::plain {

namespace {

/// Prefix, body and suffix: the guards repeat the body's end before it and its start behind it.
void extend_cyclically(const symbol_body &body, std::span<int16_t, kSymbolSamples> symbol)
{
    auto at = std::copy_n(body.end() - kGuardSamples, kGuardSamples, symbol.begin());
    at = std::copy(body.begin(), body.end(), at);
    std::copy_n(body.begin(), kGuardSamples, at);
}

} // namespace

cplx16 phase_factor(int16_t index)
{
    const auto in_quadrant = static_cast<std::size_t>(index & 63);
    const int16_t c = phaseReal[in_quadrant];
    const int16_t s = phaseImag[in_quadrant];
    switch (index >> 6) {
    case 0: return {c, s};
    case 1: return {low16(-s), c};
    case 2: return {low16(-c), low16(-s)};
    default: return {s, low16(-c)};
    }
}

symbol_spectrum scramble(const bin_amplitudes &amplitudes, std::size_t symbol)
{
    symbol_spectrum spectrum{};
    for (std::size_t k = 0; k < kSubcarriers; ++k) {
        const cplx16 factor = phase_factor(phi_scr[kSubcarriers * symbol + k]);
        spectrum[kFirstSubcarrier + k] = {low16(mul_q15(amplitudes[k], factor.re)),
                                          low16(mul_q15(amplitudes[k], factor.im))};
    }
    return spectrum;
}

frame_samples modulate_symbols(const channel_bits &bits)
{
    frame_samples frame{};
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
        const symbol_spectrum spectrum = scramble(map_symbol(bits, symbol), symbol);
        symbol_body body;
        // Each symbol keeps the scale that its content gave it: the exponent is not made up for.
        inverse_symbol_transform(spectrum, body);
        extend_cyclically(
            body, std::span{frame}.subspan(kSymbolSamples * symbol).first<kSymbolSamples>());
    }
    return frame;
}

} // namespace tonelink::plain
