// The messages that have been heard of a sound, and how often each: a transmission repeats its
// burst.
#pragma once

#include <cstdint>
#include <vector>

#include <tonelink/receiver.h>

#include "message.h"

namespace tonelink::tool {

/// A message and the bursts that carried it.
struct message_summary {
    message_bits message;
    double seconds = 0;    ///< where the first burst begins, from the start of the sound
    int64_t bursts = 0;    ///< all copies counted
    int64_t positions = 0; ///< at which the exact method accepted it, all bursts together
    uint32_t methods = 0;  ///< which heard it
};

class heard_messages {
public:
    /// Counts a burst. Returns what is known of its message.
    const message_summary &add(const tonelink_heard &heard);

    /// In the order in which they were settled first, which need not be that of their times.
    const std::vector<message_summary> &all() const { return messages_; }

private:
    std::vector<message_summary> messages_;
};

} // namespace tonelink::tool
