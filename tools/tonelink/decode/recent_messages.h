// The messages that are in the air: several transmissions can go on at the same time, each of which
// repeats its own.
#pragma once

#include <cstdint>
#include <vector>

#include "decode/heard_bursts.h"

namespace tonelink::tool {

class recent_messages {
public:
    /// Takes the next burst, in the order of time. Returns how often its message has been heard
    /// with no more than three seconds from one burst to the next: 1 for a transmission that
    /// begins.
    int64_t hear(const heard_burst &burst);

private:
    struct transmission {
        heard_burst last;
        int64_t bursts = 0;
    };

    std::vector<transmission> going_on_; ///< those heard within three seconds, and no others
};

} // namespace tonelink::tool
