#include "receiver/far/map_stages.h"

#include <cmath>

#include "modem/code_tables.h"
#include "receiver/baseband.h"

namespace tonelink {

namespace {

constexpr double kBasebandRate = kAudioRate / double{kInterpolation};

map_factor factor_of(double turns)
{
    const float_complex turn = from_turns(turns);
    return {turn.re, turn.im};
}

/// The clock that a pre-rotation takes out.
double clock_of(std::size_t rotation)
{
    return (offset_of(kNearOffsets * rotation) + offset_of(kNearOffsets * rotation + 5)) / 2;
}

} // namespace

map_tables::map_tables()
{
    for (std::size_t r = 0; r < kRotations; ++r) {
        const double step = clock_of(r) * subcarrier_hz(baseband::kMiddle) / kBasebandRate;
        for (std::size_t m = 0; m < kBodySamples; ++m)
            rotations[r][m] = factor_of(step * static_cast<double>(m));
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const double hz = subcarrier_hz(kFirstSubcarrier + i);
            for (std::size_t p = 0; p < kPilots; ++p) {
                const std::size_t s = 2 * p + i % 2;
                const double samples = double{kSymbolSamples} * static_cast<double>(s);
                pilots[r][i][p] =
                    factor_of(static_cast<double>(phi_scr[kSubcarriers * s + i]) / 256 +
                              hz * clock_of(r) * samples / kBasebandRate);
            }
        }
    }
    for (std::size_t n = 0; n < kBodySamples / 2; ++n)
        twiddles[n] = factor_of(-static_cast<double>(n) / kBodySamples);
    for (std::size_t n = 0; n < kBodySamples; ++n) {
        unsigned mirrored = 0;
        for (unsigned bit = 1; bit < kBodySamples; bit *= 2)
            mirrored = mirrored << 1 | ((n & bit) != 0 ? 1u : 0u);
        reversed[n] = static_cast<uint8_t>(mirrored);
    }
    for (std::size_t n = 0; n < kNearOffsets / 2; ++n) {
        const double clock = kOffsetStep * (static_cast<double>(n) + 0.5);
        const double symbol = clock * double{kSymbolSamples} / kBasebandRate;
        odd_turns[n] = factor_of(symbol * subcarrier_hz(baseband::kMiddle));
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const double hz = subcarrier_hz(kFirstSubcarrier + i);
            for (std::size_t p = 0; p < kPilots / 2; ++p) {
                const map_factor turn = factor_of(symbol * hz * (2 * static_cast<double>(p) + 1));
                clock_cosines[i][n][p] = turn.re;
                clock_sines[i][n][p] = turn.im;
            }
        }
    }
    for (std::size_t d = 0; d < kMapDelays / 2; ++d) {
        const double delay = (static_cast<double>(d) + 0.5) / double{kBodySamples};
        for (std::size_t j = 0; j < kSubcarriers / 4; ++j) {
            const map_factor turn = factor_of(2 * (static_cast<double>(j) + 1) * delay);
            delay_cosines[d][j] = turn.re;
            delay_sines[d][j] = turn.im;
        }
        // An odd subcarrier comes twice, half each, turned to either side.
        const double odd = factor_of(delay).re;
        constexpr int kOdd = kSubcarriers / 2;
        const double noise = kOdd + 1 + kOdd * odd * odd;
        delay_scales[d] = static_cast<float>(1 / (kPilots * noise));
    }
}

const map_stages &fastest_map_stages()
{
#if defined(TONELINK_HAS_AVX2)
    // Asks the processor and the system once in a process, and a variable from then on.
    if (__builtin_cpu_supports("avx2")) return lanes8::far_map_stages;
#endif
    return lanes4::far_map_stages;
}

} // namespace tonelink
