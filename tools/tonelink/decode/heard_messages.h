// What has been heard of a sound, message by message. The receiver accepts a burst at a run of
// neighbouring positions, and a transmission repeats its burst: here, both are counted.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "message.h"

namespace tonelink::tool {

/// A burst: the run of positions at which one message was accepted.
struct heard_burst {
    message_bits message;
    int64_t first; ///< sample of the sound that completed it first
    int64_t last;  ///< and last

    /// About the sample with which the burst began; negative where the sound begins within it.
    int64_t first_sample() const;

    /// The same, 0 where the sound begins within it.
    int64_t start() const;
};

/// A message and the bursts that carried it.
struct message_summary {
    message_bits message;
    int64_t start; ///< of the first burst, as a sample of the sound
    int64_t bursts = 0;
    int64_t positions = 0; ///< at which it was accepted, all bursts together
};

/// Takes acceptances in the order of time and puts them together.
class heard_messages {
public:
    /// @param sample  of the sound, that completed the message
    void accept(const message_bits &message, int64_t sample);

    /// The next burst that cannot go on any more, as all is known up to before `sample`.
    std::optional<heard_burst> take_burst(int64_t sample);

    /// The messages in the order in which they were heard first.
    const std::vector<message_summary> &messages() const { return messages_; }

private:
    std::vector<heard_burst> open_;
    std::vector<message_summary> messages_;
};

} // namespace tonelink::tool
