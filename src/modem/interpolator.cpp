// Each frame sample gives ten output samples, one a phase of the filter. A phase is filtered for
// many frame samples side by side, and the ten phases are put in turn at the end.
#include "modem/interpolator.h"

#include <algorithm>

#include "modem/filter_taps.h"
#include "modem/fixed_point.h"

namespace tonelink {

namespace {

constexpr std::size_t kPhaseTaps =
    13;                            // 129 taps in steps of 10; the last phase has a zero in front
constexpr std::size_t kLanes = 32; // frame samples filtered side by side
constexpr std::size_t kPaddedFrame = (kFrameSamples + kLanes - 1) / kLanes * kLanes;

/// Rest, the frame, and zeros up to a whole number of lanes: output a looks at entries a to a + 12.
using padded_input = std::array<int16_t, kPhaseTaps - 1 + kPaddedFrame>;
using phase_taps = std::array<int16_t, kPhaseTaps>;
using lanes = std::array<int16_t, kLanes>;

/// The taps of each phase, those of the oldest frame sample first.
constexpr auto kPhases = [] {
    std::array<phase_taps, kInterpolation> phases{};
    for (std::size_t tap = 0; tap < b_flt_ups.size(); ++tap)
        phases[tap % kInterpolation][kPhaseTaps - 1 - tap / kInterpolation] = b_flt_ups[tap];
    return phases;
}();

/// One phase behind kLanes frame samples. |taps| of a phase sum to at most 6102: below 2^28.
lanes filter_phase(const int16_t *input, const phase_taps &taps)
{
    std::array<int32_t, kLanes> sums{};
    for (std::size_t t = 0; t < kPhaseTaps; ++t)
        for (std::size_t lane = 0; lane < kLanes; ++lane) sums[lane] += taps[t] * input[t + lane];
    lanes outputs;
    for (std::size_t lane = 0; lane < kLanes; ++lane) outputs[lane] = low16(sums[lane] >> 13);
    return outputs;
}

} // namespace

void interpolate_by_10(const frame_samples &frame, burst_span burst)
{
    padded_input input{};
    std::copy(frame.begin(), frame.end(), input.begin() + kPhaseTaps - 1);
    for (std::size_t a = 0; a < kFrameSamples; a += kLanes) {
        std::array<lanes, kInterpolation> phases;
        for (std::size_t p = 0; p < kInterpolation; ++p)
            phases[p] = filter_phase(&input[a], kPhases[p]);

        const std::size_t count = std::min(kLanes, kFrameSamples - a);
        for (std::size_t lane = 0; lane < count; ++lane)
            for (std::size_t p = 0; p < kInterpolation; ++p)
                burst[kInterpolation * (a + lane) + p] = phases[p][lane];
    }
}

} // namespace tonelink
