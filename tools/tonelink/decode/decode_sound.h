// A sound decoded from front to back.
#pragma once

#include <functional>

#include <tonelink/receiver.h>

#include "decode/burst_receiver.h"
#include "sound_file.h"

namespace tonelink::tool {

/// Who wants to know what while a sound is decoded; the second may be empty.
struct decoding_observer {
    std::function<void(const tonelink_heard &)> heard; ///< in the order in which they were settled
    std::function<void(std::size_t)> progressed{};     ///< so many more samples have been read
};

/// Throws failure where the sample rate is one that no burst can have, or the receiver does not
/// take.
void require_rate(const sound_reader &sound);

/// Tells of each burst, of a stream before it waits for more. Throws failure for a sound that
/// cannot be read, or whose sample rate no burst can have.
tonelink_reception decode_sound(sound_reader &sound, const listening &wanted,
                                const decoding_observer &observer);

} // namespace tonelink::tool
