#include "modem/reference/interpolator.h"

#include "modem/filter_taps.h"
#include "modem/fixed_point.h"

namespace tonelink::reference {

namespace {

/// Phase `phase` after frame sample `a`: every tenth tap, from the newest sample back.
int16_t output_sample(const frame_samples &frame, std::size_t a, std::size_t phase)
{
    int32_t sum = 0; // |taps| of a phase sum to at most 6102: below 2^28
    for (std::size_t back = 0; back <= a && kInterpolation * back + phase < b_flt_ups.size();
         ++back)
        sum += int32_t{b_flt_ups[kInterpolation * back + phase]} * frame[a - back];
    return low16(sum >> 13);
}

} // namespace

void interpolate_by_10(const frame_samples &frame, burst_span burst)
{
    for (std::size_t a = 0; a < kFrameSamples; ++a)
        for (std::size_t phase = 0; phase < kInterpolation; ++phase)
            burst[kInterpolation * a + phase] = output_sample(frame, a, phase);
}

} // namespace tonelink::reference
