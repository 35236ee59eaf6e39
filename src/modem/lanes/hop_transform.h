// Spectra of hops side by side: the transform of 128 real samples in block floating point, in which
// every lane halves its data by its own rule.
#pragma once

#include "modem/lanes/block_transform.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace transform {

inline constexpr std::size_t kPoints = 64;
inline constexpr int16_t kThreshold = 14000; // a stage that meets a larger part halves its data

/// Cosine and sine of 2 pi k / 128, for sums and differences of two parts.
struct split_factors {
    pair cosine_of_sum;
    pair cosine_of_difference;
    pair sine_of_sum;
    pair sine_of_difference;
};

struct split_table {
    split_factors at[kPoints];
};

inline constexpr split_table kSplit = [] {
    split_table table{};
    for (std::size_t k = 1; k < kPoints; ++k) {
        const int16_t cosine = sine_q15(k + kPoints / 2, 2 * kPoints);
        const int16_t sine = sine_q15(k, 2 * kPoints);
        table.at[k] = {{cosine, cosine},
                       {cosine, static_cast<int16_t>(-cosine)},
                       {sine, sine},
                       {sine, static_cast<int16_t>(-sine)}};
    }
    return table;
}();

/// Bin k of the 128-point transform from bins k (a) and 64 - k (b) of the 64-point one, which took
/// the samples in pairs as complex numbers.
TONELINK_INLINE halves split_bin(std::size_t k, halves a, halves b)
{
    const split_factors &f = kSplit.at[k];
    const halves real_parts = combine_halves((words)a, shift_left((words)b, 16));
    const halves imaginary_parts = combine_halves((words)((unsigned_words)a >> 16), (words)b);
    const words re = multiply_add(real_parts, splat_pair(pair{1, 1})) -
                     (multiply_add(real_parts, splat_pair(f.sine_of_difference)) >> 15) +
                     (multiply_add(imaginary_parts, splat_pair(f.cosine_of_sum)) >> 15);
    const words im = multiply_add(imaginary_parts, splat_pair(pair{1, -1})) -
                     (multiply_add(imaginary_parts, splat_pair(f.sine_of_sum)) >> 15) -
                     (multiply_add(real_parts, splat_pair(f.cosine_of_difference)) >> 15);
    return combine_halves(re >> 1, shift_left(-(im >> 1), 16));
}

} // namespace transform

inline void transform_hops(const baseband_rows &samples, std::size_t count, spectrum_rows &spectra,
                           std::size_t column)
{
    using namespace transform;
    for (std::size_t first = 0; first < count; first += kLanes) {
        halves points[kPoints];
        extremes met;
        for (std::size_t i = 0; i < kPoints; ++i) {
            const std::size_t n = kReversed<kPoints>.of[i];
            points[i] = load<halves>(&samples.pairs[n % 4][n / 4 + first]);
            met.meet(points[i]);
        }
        words exponent{};
        for (std::size_t span = 1; span < kPoints; span *= 2) {
            const words halve = met.above(kThreshold);
            exponent -= halve;
            met = run_stage<kPoints, false>(points, span, halve);
        }
        store(&spectra.exponents[column + first], exponent);
        for (std::size_t k = kFirstSubcarrier; k < kFirstSubcarrier + kSubcarriers; ++k)
            store(&spectra.bins[k - kFirstSubcarrier][column + first],
                  split_bin(k, points[k], points[kPoints - k]));
    }
}

} // namespace tonelink::TONELINK_SIMD
