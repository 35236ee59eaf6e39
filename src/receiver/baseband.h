// The sound of the band around 0 Hz, at 4410 complex samples a second: what a burst's symbols are
// looked at in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"
#include "receiver/float_complex.h"

namespace tonelink {

/// Mixes the band down by subcarrier 32's frequency, filters, takes every tenth sample, and turns
/// frequencies round so that subcarriers with higher numbers lie higher. Sample n is the sound
/// around sample 10 n of the stream at 44100 Hz. The last 3.7 seconds are kept.
class baseband {
public:
    baseband();

    /// Takes the next samples at 44100 Hz, at most kBlock.
    void put(std::span<const float> samples);

    /// How many samples have come out.
    int64_t size() const { return size_; }

    /// A sample that has come out; silence for one that has not, or is not kept any more.
    float_complex at(int64_t n) const
    {
        return n < 0 || n >= size_ || n < size_ - kKept
                   ? float_complex{}
                   : samples_[static_cast<std::size_t>(n) % kKept];
    }

    /// The subcarrier whose frequency is mixed to 0 Hz.
    static constexpr std::size_t kMiddle = 32;
    static constexpr std::size_t kBlock = 512;
    static constexpr int64_t kKept = 16384;

    /// Begins a new stream.
    void restart();

private:
    static constexpr std::size_t kReach = 50; // samples to each side of the filter's middle
    static constexpr std::size_t kTaps = 2 * kReach + 1;
    static constexpr std::size_t kRow = (kTaps + 7) / 8 * 8; // with zeros behind them
    static constexpr std::size_t kMixerPeriod = 2048;

    float_complex filter(const float *oldest) const;

    // With the mixer's turn within the filter.
    std::array<float, kRow> real_taps_{};
    std::array<float, kRow> imaginary_taps_{};
    std::array<float_complex, kMixerPeriod> mixer_;
    std::array<float, kRow + kBlock> input_{};
    std::size_t fill_ = kReach; // of the input: silence before the stream
    int64_t size_ = 0;
    std::array<float_complex, kKept> samples_{};
};

} // namespace tonelink
