// The interpolator: each of its ten phases is filtered for many frame samples side by side, two
// taps at a time, and the phases are put in turn at the end.
#pragma once

#include "modem/filter_taps.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace interpolation {

inline constexpr std::size_t kVectors = 4; // of frame samples, taken at a time
inline constexpr std::size_t kBlock = kVectors * kLanes;
inline constexpr std::size_t kTapPairs = kPhaseTaps / 2 + 1; // the last one with a zero
static_assert(kBlock <= kFrameSlack);

struct phase_taps {
    pair pairs[kTapPairs];
};

struct phase_table {
    phase_taps phases[kInterpolation];
};

/// The taps of each phase, those of the oldest frame sample first.
inline constexpr phase_table kPhases = [] {
    int16_t taps[kInterpolation][2 * kTapPairs]{};
    for (std::size_t t = 0; t < b_flt_ups.size(); ++t)
        taps[t % kInterpolation][kPhaseTaps - 1 - t / kInterpolation] = b_flt_ups[t];
    phase_table table{};
    for (std::size_t p = 0; p < kInterpolation; ++p)
        for (std::size_t n = 0; n < kTapPairs; ++n)
            table.phases[p].pairs[n] = {taps[p][2 * n], taps[p][2 * n + 1]};
    return table;
}();

struct phase_sums {
    words of[kVectors];
};

/// One phase behind kBlock frame samples. |taps| of a phase sum to at most 6102: below 2^28.
TONELINK_INLINE phase_sums filter_phase(const int32_t *input, const phase_taps &taps)
{
    phase_sums sums{};
    for (std::size_t n = 0; n < kTapPairs; ++n) {
        const halves factors = splat_pair(taps.pairs[n]);
        for (std::size_t v = 0; v < kVectors; ++v)
            sums.of[v] += multiply_add(load<halves>(input + 2 * n + v * kLanes), factors);
    }
    return sums;
}

} // namespace interpolation

inline void interpolate(const int16_t *frame, std::size_t count, int16_t *burst)
{
    using namespace interpolation;
    int32_t input[kBlock + 2 * kTapPairs]; // each frame sample with the one behind it
    for (std::size_t a = 0; a < count; a += kBlock) {
        for (std::size_t i = 0; i < kBlock + 2 * kTapPairs; ++i)
            __builtin_memcpy(&input[i], frame + a + i, sizeof input[i]);

        int32_t outputs[kInterpolation / 2][kBlock]; // in pairs
        for (std::size_t p = 0; p < kInterpolation; p += 2) {
            const phase_sums even = filter_phase(input, kPhases.phases[p]);
            const phase_sums odd = filter_phase(input, kPhases.phases[p + 1]);
            for (std::size_t v = 0; v < kVectors; ++v)
                store(&outputs[p / 2][v * kLanes],
                      combine_halves(even.of[v] >> 13, shift_left(odd.of[v], 3)));
        }
        const std::size_t here = count - a < kBlock ? count - a : kBlock;
        for (std::size_t i = 0; i < here; ++i)
            for (std::size_t q = 0; q < kInterpolation / 2; ++q)
                __builtin_memcpy(burst + kInterpolation * (a + i) + 2 * q, &outputs[q][i],
                                 sizeof outputs[q][i]);
    }
}

} // namespace tonelink::TONELINK_SIMD
