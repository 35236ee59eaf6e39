// Sound scenes for the receiver: bursts and noise at given places of a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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
    std::vector<int16_t> samples() const;
};

} // namespace tonelink::test
