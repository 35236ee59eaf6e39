// From samples at 44100 Hz, as the receiver counts them, to frames of the input, lost ones
// included.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "modem/burst_format.h"

namespace tonelink {

class stream_places {
public:
    explicit stream_places(int32_t rate) : rate_{rate} {}

    /// Frames are missing from a sample on, beyond those that silence was put in for.
    void skip(int64_t sample, uint64_t frames)
    {
        if (count_ == gaps_.size()) { // the oldest is forgotten: no burst reaches back that far
            before_ += gaps_[0].frames;
            for (std::size_t i = 1; i < count_; ++i) gaps_[i - 1] = gaps_[i];
            --count_;
        }
        gaps_[count_++] = {sample, frames};
    }

    /// The frame at a sample.
    double frame_at(double sample) const
    {
        uint64_t missing = before_;
        for (std::size_t i = 0; i < count_; ++i)
            if (static_cast<double>(gaps_[i].sample) <= sample) missing += gaps_[i].frames;
        return sample * rate_ / kAudioRate + static_cast<double>(missing);
    }

private:
    struct gap {
        int64_t sample;
        uint64_t frames;
    };

    int32_t rate_;
    uint64_t before_ = 0;
    std::array<gap, 8> gaps_{};
    std::size_t count_ = 0;
};

} // namespace tonelink
