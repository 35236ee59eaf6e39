// The receiver library's object as the command holds it: for one sound, at any rate.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include <tonelink/receiver.h>

#include "message.h"

namespace tonelink::tool {

/// What a sound is listened to for, and how.
struct listening {
    uint32_t lengths = TONELINK_LENGTH_32 | TONELINK_LENGTH_48;
    uint32_t methods = TONELINK_METHOD_EXACT | TONELINK_METHOD_FAR;
};

class burst_receiver {
public:
    /// Throws failure for a sample rate that the library does not take, and std::bad_alloc.
    burst_receiver(int sample_rate, const listening &wanted);

    /// Takes the next samples of the sound.
    void put(std::span<const float> samples);
    void put(std::span<const int16_t> samples);

    /// Says that samples are missing here.
    void put_gap(int64_t samples);

    /// For a sound that stands still: brings out what has been heard already.
    void settle();

    /// Says that the sound ends here, which brings out what waits for more.
    void finish();

    /// The next burst that was heard, or nothing.
    std::optional<tonelink_heard> take();

    tonelink_reception reception() const;

private:
    struct close_receiver {
        void operator()(tonelink_receiver *receiver) const { tonelink_receiver_close(receiver); }
    };

    std::unique_ptr<tonelink_receiver, close_receiver> receiver_;
};

/// The message of a burst.
message_bits message_of(const tonelink_heard &heard);

/// Where a burst begins, in seconds; 0 where the sound begins within it.
double start_of(const tonelink_heard &heard);

} // namespace tonelink::tool
