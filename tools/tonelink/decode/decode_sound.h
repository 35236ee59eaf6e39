// A sound decoded from front to back.
#pragma once

#include <functional>

#include "decode/receiver_input.h"
#include "decode/sound_decoder.h"

namespace tonelink::tool {

/// Who wants to know what while a sound is decoded; each may be empty but the first.
struct decoding_observer {
    std::function<void(const heard_burst &)> heard; ///< in the order in which bursts ended
    acceptance accepted{};
    std::function<void()> progressed{}; ///< more of the sound has been read
};

/// Tells of each burst, of a stream before it waits for more. Throws failure for a sound that
/// cannot be read.
void decode_sound(receiver_input &input, message_lengths lengths,
                  const decoding_observer &observer);

} // namespace tonelink::tool
