// A sound file decoded from front to back.
#pragma once

#include <functional>
#include <vector>

#include "decode/sound_decoder.h"
#include "sound_file.h"

namespace tonelink::tool {

struct decoded_sound {
    std::vector<heard_burst> bursts;       ///< in the order in which they ended
    std::vector<message_summary> messages; ///< in the order in which they were heard first
    bool has_band;                         ///< whether its sample rate leaves room for the bursts
};

/// Who wants to know what while a sound is decoded; either may be empty.
struct decoding_observer {
    acceptance accepted{};
    std::function<void(double)> progressed{}; ///< told which share has been read, where it is known
};

/// Throws failure for a sound that cannot be read.
decoded_sound decode_sound(const sound_source &source, message_lengths lengths,
                           const decoding_observer &observer = {});

} // namespace tonelink::tool
