// Transforms of 16-bit complex numbers in block floating point, side by side: every lane halves its
// data by its own rule. Radix 2, decimation in time.
#pragma once

#include "modem/fixed_fft.h"
#include "modem/simd.h"
#include "modem/sine.h"

namespace tonelink::TONELINK_SIMD::transform {

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

template <std::size_t Points> struct twiddle_table {
    twiddle entries[Points / 2];
};

/// e^(-j 2 pi q / Points) for q below Points / 2, or with a plus for an inverse transform.
template <std::size_t Points, bool IsInverse>
inline constexpr twiddle_table<Points> kTwiddles = [] {
    twiddle_table<Points> table{};
    for (std::size_t q = 0; q < Points / 2; ++q) {
        const int32_t re = sine_q15(q + Points / 4, Points);
        const int32_t sine = sine_q15(q, Points);
        const int32_t im = IsInverse ? sine : -sine;
        table.entries[q] = {factor_of(re, im), factor_of(re >> 1, im >> 1)};
    }
    return table;
}();

template <std::size_t Points> struct bit_reversal {
    uint8_t of[Points];
};

template <std::size_t Points>
inline constexpr bit_reversal<Points> kReversed = [] {
    bit_reversal<Points> reversed{};
    for (std::size_t i = 0; i < Points; ++i)
        for (std::size_t bit = 1; bit < Points; bit *= 2)
            if ((i & bit) != 0)
                reversed.of[i] = static_cast<uint8_t>(reversed.of[i] + Points / 2 / bit);
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
    TONELINK_INLINE words above(int16_t value) const
    {
        const halves threshold = splat_pair(pair{value, value});
        return either_half((halves)(highest > threshold) | (halves)(lowest < -threshold));
    }
};

/// One stage: pairs `span` apart. Returns what the next stage has to know.
template <std::size_t Points, bool IsInverse>
inline extremes run_stage(halves *points, std::size_t span, words halve)
{
    extremes met;
    const halves mask = (halves)halve;
    for (std::size_t q = 0; q < span; ++q) {
        const twiddle &w = kTwiddles<Points, IsInverse>.entries[q * (Points / 2 / span)];
        const halves for_real =
            select(mask, splat_pair(w.halved.for_real), splat_pair(w.whole.for_real));
        const halves for_imaginary =
            select(mask, splat_pair(w.halved.for_imaginary), splat_pair(w.whole.for_imaginary));
        for (std::size_t i = q; i < Points; i += 2 * span) {
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

} // namespace tonelink::TONELINK_SIMD::transform
