// The receiver library as its users have it: what it hears in a scene that is pushed in blocks.
#pragma once

#include <cstdint>

#include "far/far_scene.h"
#include "tonelink/receiver.h"

namespace tonelink::bench {

struct hearing {
    bool is_right = false; ///< the message that was sent is among those heard
    int wrong = 0;         ///< of another message
};

/// How a scene's sound becomes samples.
struct microphone {
    double gain = 1; ///< before it is cut off at full scale, at 16 bits
    int divisor = 1; ///< of the samples, behind that
    int sample_rate = 44100;
};

/// @param methods  TONELINK_METHOD_EXACT, TONELINK_METHOD_FAR or both
hearing hear(const far_scene &scene, std::size_t bits, uint32_t methods, const microphone &with);

} // namespace tonelink::bench
