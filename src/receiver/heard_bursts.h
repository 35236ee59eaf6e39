// Bursts as the exact receiver hears them: a run of neighbouring positions at which one message is
// accepted.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "modem/burst_format.h"
#include "modem/heard_message.h"

namespace tonelink {

/// A message as a number: its bits, the first one the highest.
struct message_value {
    uint64_t bits = 0;
    std::size_t length = 0; ///< 32 or 48

    friend bool operator==(const message_value &, const message_value &) = default;
};

/// A burst: the run of positions at which its message was accepted.
struct heard_burst {
    message_value message;
    uint64_t first = 0; ///< sample that completed it first
    uint64_t last = 0;  ///< and last
    uint32_t positions = 0;

    /// About the sample with which it began, to some milliseconds; negative where the stream began
    /// within it.
    int64_t first_sample() const
    {
        // From the first sample of a clean burst to the middle of the run that completes it.
        constexpr int64_t kMiddleOfRun = int64_t{kBurstSamples} - 20; // as measured
        return static_cast<int64_t>((first + last) / 2) - kMiddleOfRun;
    }
};

/// Puts acceptances together.
class heard_bursts {
public:
    /// Takes acceptances in the order of their positions.
    void accept(const heard_message &heard);

    /// The next burst that cannot go on any more, as all is known up to before `position`.
    std::optional<heard_burst> take(uint64_t position);

    /// The next burst that may go on behind `position`, or nothing: with the end that its run would
    /// have if it went on as long as others. It will not be taken again.
    std::optional<heard_burst> take_early(uint64_t position);

    /// Begins a new stream.
    void restart() { count_ = 0; }

private:
    /// Positions of one burst are at most this far apart: half a burst. The next copy comes a whole
    /// burst later.
    static constexpr uint64_t kLongestRun = kBurstSamples / 2;
    /// More messages at once than two senders and chance together make.
    static constexpr std::size_t kMost = 16;

    struct open_burst : heard_burst {
        bool is_taken; ///< before it could not go on any more
    };

    std::array<open_burst, kMost> open_;
    std::size_t count_ = 0;
};

} // namespace tonelink
