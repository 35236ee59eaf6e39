// The spectrum of a sound over time, as many columns of it as a picture is wide: long sounds are
// averaged column by column while they are read, short ones looked at in overlapping steps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "windowed_transform.h"

namespace tonelink::tool {

/// What a spectrogram shows and how finely.
struct spectrogram_shape {
    double sample_rate;
    int64_t first_sample; ///< where the first column begins
    int64_t end_sample;   ///< where the last column ends
    std::size_t columns;
    std::size_t window;    ///< samples that one spectrum sees, through a Hann window
    std::size_t transform; ///< length of the transform; the more above `window`, the smoother
};

class spectrogram {
public:
    /// @param start  which sample the first one put is: at most `first_sample` less half a window,
    /// or 0
    spectrogram(const spectrogram_shape &shape, int64_t start);

    void put(std::span<const float> samples);

    /// Completes the last columns. Nothing may be put afterwards.
    void finish();

    const spectrogram_shape &shape() const { return shape_; }
    std::size_t bins() const { return shape_.transform / 2 + 1; }
    double bin_hz() const { return shape_.sample_rate / static_cast<double>(shape_.transform); }

    /// Mean level in dBFS: a sine of full scale is at 0. Silence is at -200.
    double level(std::size_t column, std::size_t bin) const;
    double peak_level() const;

    /// The level that a share of all columns and bins stays below.
    double level_above(double share) const;

private:
    int64_t frame_start(std::size_t frame) const;
    void transform_frame(std::size_t frame);
    void drop_passed();

    spectrogram_shape shape_;
    std::size_t frames_per_column_;
    std::size_t next_frame_ = 0;
    std::vector<float> pending_; // samples that a frame to come needs
    int64_t pending_start_;
    windowed_transform transform_;
    std::vector<float> power_; // column after column
};

} // namespace tonelink::tool
