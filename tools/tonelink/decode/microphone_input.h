// What a microphone hears, as the receiver takes it: 16 bits, mono, 44100 Hz.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "decode/microphone.h"
#include "sound/rate_converter.h"

namespace tonelink::tool {

class microphone_input {
public:
    /// Throws failure, like microphone.
    explicit microphone_input(const std::string &device);

    const std::string &warning() const { return microphone_.warning(); }

    /// Like microphone's.
    std::span<const int16_t> read(int milliseconds);

    /// How many samples were lost between those that the last read() returned and those of the
    /// next.
    int64_t take_lost();

private:
    microphone microphone_;
    sound::rate_converter converter_;
    int64_t lost_ = 0;
};

} // namespace tonelink::tool
