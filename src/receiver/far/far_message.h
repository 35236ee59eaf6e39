// What the far receiver tells of a burst.
#pragma once

#include <cstddef>
#include <cstdint>

namespace tonelink {

/// A message, and the copies that it was heard from together.
struct far_message {
    uint64_t bits = 0; ///< the first one is the most significant of `length`
    std::size_t length = 0;
    double first_sample = 0; ///< of the first copy, at 44100 Hz
    double last_sample = 0;  ///< the first one of the last copy
    float clock_ppm = 0;     ///< how much faster the sender's clock runs
    float snr_db = 0;        ///< of a burst, in its band; 30 at most
    std::size_t copies = 1;
};

} // namespace tonelink
