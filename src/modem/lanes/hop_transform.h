// Spectra of hops side by side: the transform of 128 real samples in block floating point, in which
// every lane halves its data by its own rule.
#pragma once

#include "modem/simd.h"
#include "modem/sine.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace transform {

inline constexpr std::size_t kPoints = 64;
inline constexpr int16_t kThreshold = 14000; // a stage that meets a larger part halves its data

struct factor {
    pair for_real;      // (re, -im)
    pair for_imaginary; // (im, re)
};

/// A twiddle, and the halved one for lanes that halve. The product with a part rounds down, so
/// these are two factors and not one.
struct twiddle {
    factor whole;
    factor halved;
};

constexpr factor factor_of(int32_t re, int32_t im)
{
    return {{static_cast<int16_t>(re), static_cast<int16_t>(-im)},
            {static_cast<int16_t>(im), static_cast<int16_t>(re)}};
}

struct twiddle_table {
    twiddle entries[kPoints / 2];
};

/// e^(-j 2 pi q / 64) for q = 0 to 31.
inline constexpr twiddle_table kTwiddles = [] {
    twiddle_table table{};
    for (std::size_t q = 0; q < kPoints / 2; ++q) {
        const int32_t re = sine_q15(q + kPoints / 4, kPoints);
        const int32_t im = -sine_q15(q, kPoints);
        table.entries[q] = {factor_of(re, im), factor_of(re >> 1, im >> 1)};
    }
    return table;
}();

struct bit_reversal {
    uint8_t of[kPoints];
};

inline constexpr bit_reversal kReversed = [] {
    bit_reversal reversed{};
    for (std::size_t i = 0; i < kPoints; ++i)
        for (std::size_t bit = 0; bit < 6; ++bit)
            reversed.of[i] |= static_cast<uint8_t>((i >> bit & 1) << (5 - bit));
    return reversed;
}();

/// The largest and the smallest part that each lane has met.
struct extremes {
    halves highest{};
    halves lowest{};

    TONELINK_INLINE void meet(halves x)
    {
        highest = maximum(highest, x);
        lowest = minimum(lowest, x);
    }

    /// The lanes in which the magnitude of some part is above the threshold.
    TONELINK_INLINE words above() const
    {
        const halves threshold = splat_pair(pair{kThreshold, kThreshold});
        return either_half((halves)(highest > threshold) | (halves)(lowest < -threshold));
    }
};

/// One stage: pairs `span` apart. Returns what the next stage has to know.
inline extremes run_stage(halves *points, std::size_t span, words halve)
{
    extremes met;
    const halves mask = (halves)halve;
    for (std::size_t q = 0; q < span; ++q) {
        const twiddle &w = kTwiddles.entries[q * (kPoints / 2 / span)];
        const halves for_real =
            select(mask, splat_pair(w.halved.for_real), splat_pair(w.whole.for_real));
        const halves for_imaginary =
            select(mask, splat_pair(w.halved.for_imaginary), splat_pair(w.whole.for_imaginary));
        for (std::size_t i = q; i < kPoints; i += 2 * span) {
            const halves turned = multiply(points[i + span], for_real, for_imaginary);
            const halves kept = select(mask, points[i] >> 1, points[i]);
            const halves difference = subtract(kept, turned);
            const halves sum = add(kept, turned);
            points[i + span] = difference;
            points[i] = sum;
            met.meet(difference);
            met.meet(sum);
        }
    }
    return met;
}

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
            const std::size_t n = kReversed.of[i];
            points[i] = load<halves>(&samples.pairs[n % 4][n / 4 + first]);
            met.meet(points[i]);
        }
        words exponent{};
        for (std::size_t span = 1; span < kPoints; span *= 2) {
            const words halve = met.above();
            exponent -= halve;
            met = run_stage(points, span, halve);
        }
        store(&spectra.exponents[column + first], exponent);
        for (std::size_t k = kFirstUsedBin; k < kFirstUsedBin + kUsedBins; ++k)
            store(&spectra.bins[k - kFirstUsedBin][column + first],
                  split_bin(k, points[k], points[kPoints - k]));
    }
}

} // namespace tonelink::TONELINK_SIMD
