// From any sample rate to the modem's 44100 Hz, for a stream in blocks of any size.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include <tonelink/receiver.h>

#include "modem/burst_format.h"

namespace tonelink {

/// A polyphase filter: flat within 0.01 dB to 20.2 kHz; what lies where it would fold onto the band
/// of the bursts, and the images of the band, are 80 dB down. Output n is the sound at the time
/// n / 44100 s, to the fraction of a sample, whatever the rates.
class resampler {
public:
    static constexpr int32_t kLowestRate = TONELINK_RECEIVER_LOWEST_RATE;
    static constexpr int32_t kHighestRate = TONELINK_RECEIVER_HIGHEST_RATE;

    /// How many coefficients a rate needs.
    static std::size_t table_size(int32_t rate);

    /// @param rate   of the input, kLowestRate to kHighestRate
    /// @param table  room for table_size(rate) coefficients, which this object uses as it lives
    resampler(int32_t rate, std::span<float> table);

    /// How much was taken of the input, and made of the output.
    struct progress {
        std::size_t used;
        std::size_t made;
    };

    /// Goes on until the input is used up or the output is full.
    progress run(std::span<const float> input, std::span<float> output);

    /// How many more input samples it takes to make so many outputs; at least 1.
    std::size_t missing(std::size_t outputs) const;

    /// Begins a new stream.
    void restart();

private:
    static constexpr std::size_t kMostTaps = 544; // at kHighestRate
    static constexpr std::size_t kRoom = 4 * kMostTaps;

    float next_sample() const;
    float filter(const float *samples, const float *row) const;
    void make_room();

    int32_t rate_;
    std::size_t taps_;
    std::size_t phases_;
    std::span<const float> table_; // a row of taps for each phase, and one more

    std::array<float, kRoom> samples_{};
    std::size_t fill_;   // samples held
    std::size_t oldest_; // the first one that the next output looks at
    int32_t remainder_;  // how far the next output lies behind an input, in 1/44100 of a sample
};

} // namespace tonelink
