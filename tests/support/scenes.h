// Sound scenes for the receiver: bursts and noise at given places of a recording.
#pragma once

#include <algorithm>
#include <cmath>

#include "support/modem_guard.h"

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
        const auto add = [&](const std::vector<int16_t> &values, std::ptrdiff_t at, int32_t div) {
            for (const double value : values) {
                if (at >= 0 && at < std::ssize(sums))
                    sums[static_cast<std::size_t>(at)] +=
                        static_cast<int32_t>(std::floor(value / div));
                ++at;
            }
        };
        for (const auto &[bits, at, div, copies, every] : bursts)
            for (int copy = 0; copy < copies; ++copy)
                add(open_modem{}.burst(bits), at + copy * every, div); // the first of its state
        for (const auto &[seed, div] : noises) add(noise(length, seed), 0, div);
        std::vector<int16_t> limited;
        for (const int32_t sum : sums)
            limited.push_back(static_cast<int16_t>(std::clamp(sum, -32768, 32767)));
        return limited;
    }
};

} // namespace tonelink::test
