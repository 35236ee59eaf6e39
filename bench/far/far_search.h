// What the far receiver makes of a scene: by its stages for a number of copies and a length that
// are known, without stream and budget; or as a whole.
#pragma once

#include <vector>

#include "far/far_scene.h"
#include "receiver/float_complex.h"

namespace tonelink::bench {

/// From the sound to the baseband.
std::vector<float_complex> baseband_of(const sound &samples);

struct far_result {
    bool is_found = false;    ///< the burst is where a candidate is
    std::size_t messages = 0; ///< whose CRC agrees
    bool is_right = false;    ///< the one that was sent is among them
    double clock = 0;         ///< of the candidate that held it
    double first_sample = 0;
    std::int64_t trials = 0; ///< of the CRC
};

/// @param search_ppm  clocks are searched so far to either side
far_result search_scene(const far_scene &scene, std::size_t bits, std::size_t copies,
                        int search_ppm);

/// What the receiver as a whole makes of it, as a stream that begins and ends with the scene.
far_result receive_scene(const far_scene &scene, std::size_t bits);

} // namespace tonelink::bench
