// The messages that have been heard of a sound, and how often each: a transmission repeats its
// burst.
#pragma once

#include <cstdint>
#include <vector>

#include "decode/heard_bursts.h"
#include "message.h"

namespace tonelink::tool {

/// A message and the bursts that carried it.
struct message_summary {
    message_bits message;
    int64_t start = 0; ///< of the first burst, as a sample of the sound
    int64_t bursts = 0;
    int64_t positions = 0; ///< at which it was accepted, all bursts together
};

class heard_messages {
public:
    /// Counts a position at which a message was accepted.
    void accept(const message_bits &message) { ++summary_of(message).positions; }

    /// Counts a burst, whose positions were counted. Returns what is known of its message.
    const message_summary &add(const heard_burst &burst);

    /// In the order in which they were heard first.
    const std::vector<message_summary> &all() const { return messages_; }

private:
    message_summary &summary_of(const message_bits &message);

    std::vector<message_summary> messages_;
};

} // namespace tonelink::tool
