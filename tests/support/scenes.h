// Sound scenes for the receiver: bursts and noise at given places of a recording.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/modem_guard.h"
#include "support/signals.h"

namespace tonelink::test {

/// A burst, the first of a state, from `at` on, `copies` times; each sample floor(s / div).
struct burst_layer {
    const char *bits;
    std::ptrdiff_t at;
    int32_t div = 1;
    int copies = 1;
    std::ptrdiff_t every = 0;
};

/// Noise of lcg(seed), each sample floor(s / div).
struct noise_layer {
    uint32_t seed;
    int32_t div = 1;
};

struct scene {
    std::size_t length;
    std::vector<burst_layer> bursts;
    std::vector<noise_layer> noises = {};

    /// The layers added up, limited to int16 at the end.
    std::vector<int16_t> samples() const
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
};

} // namespace tonelink::test
