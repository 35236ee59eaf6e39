// Recordings that are hard to hear: each message at a level at which 95 to 99 of 100 arrive by the
// far method's figures, and everything that may happen around it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "far/far_scene.h"

namespace tonelink::bench {

struct hard_recording {
    struct sender {
        std::size_t bits = 0, copies = 0;
        std::uint64_t message = 0;
        std::vector<double> starts; ///< of its bursts, at the recording's rate
    };
    std::string kind;
    double rate = 44100;
    bool is_float = false; ///< as a file: 16 bits otherwise
    sound samples;         ///< full scale is 32768
    std::vector<sender> senders;
};

/// About eighty messages, the same for a seed each time.
std::vector<hard_recording> make_hard_recordings(std::uint64_t seed);

} // namespace tonelink::bench
