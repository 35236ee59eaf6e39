// One channel made of several that hear the same room: the one in which the band of the bursts is
// loudest. Their sum would not do, as at 19 kHz two microphones a finger apart cancel each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tonelink::tool {

template <class Sample> class loudest_channel {
public:
    /// @param rate  frames a second
    loudest_channel(std::size_t channels, double rate);

    /// Takes frames, a sample for each channel one after the other, and leaves the channel's
    /// samples at their beginning, which it returns. Another one is chosen at the end of 10 ms in
    /// which it became 6 dB louder than the present one; the mean of the last tenth of a second
    /// decides, so that no burst is cut to pieces. How the frames are cut into calls does not
    /// matter.
    std::span<const Sample> put(std::span<Sample> frames);

private:
    /// A resonator at the middle of the band, and the power that it lets through.
    struct band_filter {
        double before1 = 0, before2 = 0; ///< its last states
        double block_power = 0;
        double power = 0;
    };

    void measure(std::span<const Sample> frame);
    void choose();

    std::size_t block_frames_; ///< 10 ms
    double feedback1_, feedback2_;
    std::vector<band_filter> filters_; ///< of each channel
    std::size_t chosen_ = 0;
    std::size_t measured_ = 0; ///< frames of the present block
};

extern template class loudest_channel<int16_t>;
extern template class loudest_channel<float>;

} // namespace tonelink::tool
