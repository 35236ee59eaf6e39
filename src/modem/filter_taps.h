// The filters of both roads, as compile-time values, so that the code around them can leave out
// taps that are zero and lay the others out in the order they are read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "modem/burst_format.h"

namespace tonelink {

/// A filter of odd length from its first half with centre; the second half mirrors it, times
/// `sign`.
template <std::size_t Half>
constexpr std::array<int16_t, 2 * Half - 1> mirrored(const std::array<int16_t, Half> &half,
                                                     int sign = 1)
{
    std::array<int16_t, 2 * Half - 1> taps{};
    for (std::size_t i = 0; i < Half; ++i) {
        taps[taps.size() - 1 - i] = static_cast<int16_t>(sign * half[i]);
        taps[i] = half[i];
    }
    return taps;
}

/// Interpolation by 10: low-pass filter, Q13, each phase with a gain of about 0.4.
inline constexpr std::array<int16_t, 129> b_flt_ups =
    mirrored<65>({4,    6,    8,    9,    7,    4,    -3,   -12,  -24,  -38,  -52,  -65,  -75,
                  -80,  -77,  -67,  -49,  -23,  9,    45,   80,   110,  131,  140,  133,  110,
                  71,   19,   -41,  -104, -161, -205, -229, -229, -199, -142, -60,  38,   144,
                  245,  327,  378,  389,  351,  264,  131,  -36,  -224, -412, -576, -693, -740,
                  -699, -558, -312, 35,   469,  969,  1505, 2043, 2548, 2984, 3321, 3533, 3606});

/// Decimation by 10: low-pass filter of the receiver, Q15, gain 0.93.
inline constexpr std::array<int16_t, 37> b_flt_dns =
    mirrored<19>({87, -74, -257, -439, -594, -694, -712, -628, -430, -113, 313, 827, 1399, 1988,
                  2552, 3047, 3433, 3678, 3763});

/// Hilbert transformer of the band shifter, Q15, antisymmetric. |taps| sum to 109640.
inline constexpr std::array<int16_t, 129> coef_ht = mirrored<65>(
    {-11, -1205, 9, -186,  0,  -201,  0, -217,  0, -233,   0, -251,  0,  -270,  0, -291,  0, -314,
     0,   -338,  0, -364,  -1, -392,  0, -423,  0, -457,   1, -494,  -1, -535,  1, -581,  0, -633,
     0,   -692,  0, -759,  0,  -837,  0, -930,  0, -1040,  0, -1175, 0,  -1344, 0, -1565, 0, -1863,
     0,   -2290, 0, -2958, 0,  -4157, 0, -6944, 0, -20857, 0},
    -1);

static_assert(b_flt_ups.size() / 2 + coef_ht.size() / 2 == kBurstDelay);

// The output filter: second-order Butterworth high-pass by the bilinear transform, corner at 17000
// Hz of 44100 Hz, gain 1 at half the sample rate.
inline constexpr double kHighPassGain = 11.82886719;
inline constexpr double kOutputBeforeLast = -0.364264717;
inline constexpr double kLastOutput = -1.0261089211;

} // namespace tonelink
