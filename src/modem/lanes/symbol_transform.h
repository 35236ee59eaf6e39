// The bodies of a burst's symbols side by side: the inverse transform of 64 bins to 128 real
// samples.
#pragma once

#include "modem/lanes/block_transform.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace transform {

inline constexpr int16_t kInverseThreshold = 16383;

/// Real and imaginary parts change places on the way in, and the result is the imaginary part on
/// the way out: that turns the complex sum into the real one of cosines and sines.
TONELINK_INLINE halves swap_parts(halves bin)
{
    return (halves)((unsigned_words)bin >> 16 | (unsigned_words)shift_left((words)bin, 16));
}

} // namespace transform

inline void transform_symbols(const symbol_rows &spectra, body_rows &bodies)
{
    using namespace transform;
    for (std::size_t first = 0; first < kSymbols; first += kLanes) {
        halves bins[kSpectrumSize]{};
        extremes met;
        for (std::size_t k = 0; k < kSubcarriers; ++k) {
            const halves bin = swap_parts(load<halves>(&spectra.bins[k][first]));
            bins[kFirstSubcarrier + k] = bin;
            met.meet(bin);
        }
        // The bins of the upper half are zero: the first stage repeats those of the lower half.
        halves points[kBodySamples];
        words halve = met.above(kInverseThreshold);
        met = {};
        for (std::size_t i = 0; i < kBodySamples; i += 2) {
            const halves bin = bins[kReversed<kBodySamples>.of[i]];
            points[i] = points[i + 1] = select((halves)halve, bin >> 1, bin);
            met.meet(points[i]);
        }
        for (std::size_t span = 2; span < kBodySamples; span *= 2) {
            halve = met.above(kInverseThreshold);
            met = run_stage<kBodySamples, true>(points, span, halve);
        }
        for (std::size_t n = 0; n < kBodySamples; ++n)
            store(&bodies.samples[n][first], (words)points[n] >> 16);
    }
}

} // namespace tonelink::TONELINK_SIMD
