// The messages that are in the air: several transmissions can go on at the same time, each of which
// repeats its own.
#pragma once

#include <cstdint>
#include <vector>

#include <tonelink/receiver.h>

#include "message.h"

namespace tonelink::tool {

class recent_messages {
public:
    /// Takes the next burst. Returns how often its message has been heard with no more than three
    /// seconds from one burst to the next: 1 for a transmission that begins.
    int64_t hear(const tonelink_heard &heard);

private:
    struct transmission {
        message_bits message;
        double seconds; ///< of its last burst
        int64_t bursts = 0;
    };

    std::vector<transmission> going_on_; ///< those heard within three seconds, and no others
};

} // namespace tonelink::tool
