#include "support/scenes.h"

#include <algorithm>

#include "support/modem_guard.h"
#include "support/signals.h"

namespace tonelink::test {

std::vector<int16_t> scene::samples() const
{
    std::vector<int32_t> sums(length, 0);
    for (const burst_layer &layer : bursts) {
        open_modem modem; // each burst the first of its state
        const std::vector<int16_t> burst = modem.burst(layer.bits);
        for (int copy = 0; copy < layer.copies; ++copy) {
            std::ptrdiff_t at = layer.at + copy * layer.every;
            for (const int32_t s : burst) {
                const int32_t scaled = s / layer.div - (s % layer.div < 0 ? 1 : 0);
                if (at >= 0 && at < static_cast<std::ptrdiff_t>(length))
                    sums[static_cast<std::size_t>(at)] += scaled;
                ++at;
            }
        }
    }
    for (const noise_layer &layer : noises) {
        const auto values = noise(length, layer.seed, 1, layer.div);
        for (std::size_t i = 0; i < length; ++i) sums[i] += values[i];
    }
    std::vector<int16_t> limited;
    for (const int32_t sum : sums)
        limited.push_back(static_cast<int16_t>(std::clamp(sum, -32768, 32767)));
    return limited;
}

} // namespace tonelink::test
