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

/// @param methods      TONELINK_METHOD_EXACT, TONELINK_METHOD_FAR or both
/// @param gain         before the samples become 16 bits
/// @param sample_rate  of the scene
hearing hear(const far_scene &scene, std::size_t bits, uint32_t methods, double gain,
             int sample_rate = 44100);

} // namespace tonelink::bench
