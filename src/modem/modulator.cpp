#include "modem/modulator.h"

#include "modem/code_tables.h"
#include "modem/fixed_point.h"

namespace tonelink {

namespace {

/// The spectra of all symbols side by side.
symbol_rows scrambled_symbols(const channel_bits &bits)
{
    symbol_rows rows;
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
        const symbol_spectrum spectrum = scramble(map_symbol(bits, symbol), symbol);
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            rows.bins[k][symbol] = spectrum[kFirstSubcarrier + k];
    }
    return rows;
}

/// Symbol by symbol prefix, body and suffix: the guards repeat the body's end before it and its
/// start behind it.
frame_samples extend_cyclically(const body_rows &bodies)
{
    frame_samples frame{};
    for (std::size_t symbol = 0; symbol < kSymbols; ++symbol)
        for (std::size_t i = 0; i < kSymbolSamples; ++i)
            frame[kSymbolSamples * symbol + i] =
                low16(bodies.samples[(i + kBodySamples - kGuardSamples) % kBodySamples][symbol]);
    return frame;
}

} // namespace

bin_amplitudes map_symbol(const channel_bits &bits, std::size_t symbol)
{
    bin_amplitudes amplitudes;
    amplitudes.fill(kSubcarrierAmplitude);
    std::size_t bit = first_bit_of(symbol + 1);
    for (std::size_t k = 0; k < kSubcarriers; ++k)
        if (!is_pilot(symbol + 1, kFirstSubcarrier + k) && bits[bit++] == 0)
            amplitudes[k] = -kSubcarrierAmplitude;
    return amplitudes;
}

symbol_spectrum scramble(const bin_amplitudes &amplitudes, std::size_t symbol)
{
    const auto *const factors = &kDescrambling.of[symbol % kScramblingSymbols * kSubcarriers];
    symbol_spectrum spectrum{};
    for (std::size_t k = 0; k < kSubcarriers; ++k) {
        const cplx16 factor = factors[k].for_real; // the phase's cosine and sine
        spectrum[kFirstSubcarrier + k] = {low16(mul_q15(amplitudes[k], factor.re)),
                                          low16(mul_q15(amplitudes[k], factor.im))};
    }
    return spectrum;
}

frame_samples modulate_symbols(const channel_bits &bits, const vector_stages &stages)
{
    // Each symbol keeps the scale that its content gave it: the exponent is not made up for.
    body_rows bodies;
    stages.transform_symbols(scrambled_symbols(bits), bodies);
    return extend_cyclically(bodies);
}

void ramp_edges(frame_samples &frame)
{
    const std::size_t last = kSymbols * kSymbolSamples - kGuardSamples;
    for (std::size_t i = 0; i < kGuardSamples; ++i) {
        frame[i] = low16(mul_q15(frame[i], w_pre[i]));
        frame[last + i] = low16(mul_q15(frame[last + i], w_post[i]));
    }
}

} // namespace tonelink
