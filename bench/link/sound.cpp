#include "link/sound.h"

#include <algorithm>
#include <cmath>

namespace tonelink::bench {

std::vector<int16_t> to_16_bits(std::span<const float> samples)
{
    std::vector<int16_t> row;
    for (const float s : samples)
        row.push_back(static_cast<int16_t>(std::lrint(std::clamp(s, -32768.0f, 32767.0f))));
    return row;
}

} // namespace tonelink::bench
