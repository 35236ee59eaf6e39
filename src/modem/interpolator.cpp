#include "modem/interpolator.h"

#include <algorithm>

namespace tonelink {

void interpolate_by_10(const frame_samples &frame, burst_span burst, const vector_stages &stages)
{
    constexpr std::size_t kRest = kPhaseTaps - 1;
    std::array<int16_t, kRest + kFrameSamples + kFrameSlack> input{}; // from rest, and into it
    std::copy(frame.begin(), frame.end(), input.begin() + kRest);
    stages.interpolate(input.data(), frame.size(), burst.data());
}

} // namespace tonelink
