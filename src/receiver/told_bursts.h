// The bursts that were told last: which messages are repeats, and which places are explained.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"
#include "receiver/heard_bursts.h"

namespace tonelink {

/// Places of one burst, heard and seen, are at most this far apart, in samples at 44100 Hz: less
/// than a burst, more than what its own pattern makes it look like beside itself.
inline constexpr double kSameBurst = 0.95 * kBurstSamples;

class told_bursts {
public:
    /// @param sample  its first one, at 44100 Hz
    /// @param length  in samples, of all copies that were summed for it
    void add(const message_value &message, double sample, double length, double seconds)
    {
        bursts_[next_] = {message, sample, sample + length - kBurstSamples, seconds};
        next_ = (next_ + 1) % bursts_.size();
        count_ = std::min(count_ + 1, bursts_.size());
    }

    /// How many bursts of the message began within a span of seconds before a time.
    uint32_t count_before(const message_value &message, double seconds, double span) const
    {
        return static_cast<uint32_t>(std::ranges::count_if(told(), [&](const burst &other) {
            return other.message == message && seconds - other.seconds <= span;
        }));
    }

    /// Whether one of them is around a place.
    bool covers(double sample) const
    {
        return std::ranges::any_of(told(), [&](const burst &other) {
            return sample > other.first - kSameBurst && sample < other.last + kSameBurst;
        });
    }

    /// Whether one of them carried a message and is around one of some copies of it.
    bool has(const message_value &message, double sample, double length = kBurstSamples) const
    {
        const double last = sample + length - kBurstSamples;
        return std::ranges::any_of(told(), [&](const burst &other) {
            return other.message == message && last > other.first - kSameBurst &&
                   sample < other.last + kSameBurst;
        });
    }

    /// Begins a new stream.
    void restart() { count_ = next_ = 0; }

private:
    struct burst {
        message_value message;
        double first;   ///< sample of the first copy, at 44100 Hz
        double last;    ///< and of the last one
        double seconds; ///< of the stream, samples lost included
    };

    std::span<const burst> told() const { return std::span{bursts_}.first(count_); }

    std::array<burst, 32> bursts_;
    std::size_t next_ = 0;
    std::size_t count_ = 0;
};

} // namespace tonelink
