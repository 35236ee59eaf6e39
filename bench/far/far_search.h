// What the far receiver makes of a scene as a whole, with one number of copies and one length that
// are known: the stages as they are, without stream and without budget.
#pragma once

#include <optional>
#include <span>

#include "far/far_scene.h"

namespace tonelink::bench {

struct far_result {
    bool is_found = false;    ///< the burst is where a candidate is
    std::size_t messages = 0; ///< whose CRC agrees
    bool is_right = false;    ///< the one that was sent is among them
    double clock = 0;         ///< of the candidate that held it
    double first_sample = 0;
};

/// @param search_ppm  clocks are searched so far to either side
far_result search_scene(const far_scene &scene, std::size_t bits, std::size_t copies,
                        int search_ppm);

} // namespace tonelink::bench
