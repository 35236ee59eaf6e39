// Scales samples by a gain of up to 15 bits before and 14 behind the point.
#pragma once

#include "modem/simd.h"

namespace tonelink::TONELINK_SIMD {

/// Whole vectors of `count` samples, as many as there are; returns how many samples that was.
inline std::size_t scale_samples(int16_t *samples, std::size_t count, int32_t gain_q14)
{
    constexpr std::size_t kSamples = 2 * kLanes;
    // s g / 2^14 = 2 s (g / 2^15) + s (g % 2^15) / 2^14, where only the last is rounded.
    const auto upper = static_cast<int16_t>(gain_q14 >> 15);
    const auto lower = static_cast<int16_t>(gain_q14 & 32767);
    const halves twice_upper = shift_left(splat_pair(pair{upper, upper}), 1);
    const halves rest = splat_pair(pair{lower, lower});
    std::size_t i = 0;
    for (; i + kSamples <= count; i += kSamples) {
        const halves s = load<halves>(samples + i);
        const auto whole = (halves)((unsigned_halves)s * (unsigned_halves)twice_upper);
        const auto low = (unsigned_halves)s * (unsigned_halves)rest;
        const halves part =
            (halves)((unsigned_halves)shift_left(multiply_high(s, rest), 2) | low >> 14);
        const halves scaled = add(whole, part);
        // The largest positive result, 32768, is stored as 32767.
        const halves is_beyond = (halves)(s > 0) & (halves)(scaled < 0);
        store(samples + i, add(scaled, is_beyond));
    }
    return i;
}

} // namespace tonelink::TONELINK_SIMD
