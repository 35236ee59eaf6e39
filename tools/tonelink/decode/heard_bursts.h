// The bursts that have been heard of a sound. The receiver accepts a burst at a run of neighbouring
// positions: here, these are put together.
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

/// Takes acceptances in the order of time and puts them together.
class heard_bursts {
public:
    /// @param sample  of the sound, that completed the message
    void accept(const message_bits &message, int64_t sample);

    /// The next burst that cannot go on any more, as all is known up to before `sample`.
    std::optional<heard_burst> take(int64_t sample);

    /// The next burst of those that may go on, or none. It will not be taken again.
    std::optional<heard_burst> take_early();

private:
    struct open_burst {
        heard_burst burst;
        bool is_taken = false;
    };

    std::vector<open_burst> open_;
};

} // namespace tonelink::tool
