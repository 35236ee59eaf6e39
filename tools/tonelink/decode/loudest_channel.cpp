#include "decode/loudest_channel.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

constexpr double kBlocksPerSecond = 100;
constexpr double kNewBlockShare = 0.1; // of the mean: a tenth of a second
constexpr double kHysteresis = 4;      // 6 dB

constexpr double kMiddleHz = (kBandLowHz + kBandHighHz) / 2.0;
constexpr double kWidthHz = kBandHighHz - kBandLowHz;

} // namespace

template <class Sample>
loudest_channel<Sample>::loudest_channel(std::size_t channels, double rate)
    : block_frames_{static_cast<std::size_t>(rate / kBlocksPerSecond)}, filters_(channels)
{
    // Poles at the middle of the band, as far inside the unit circle as its width asks for.
    const double radius = std::exp(-std::numbers::pi * kWidthHz / rate);
    feedback1_ = 2 * radius * std::cos(2 * std::numbers::pi * kMiddleHz / rate);
    feedback2_ = -radius * radius;
}

template <class Sample>
std::span<const Sample> loudest_channel<Sample>::put(std::span<Sample> frames)
{
    const std::size_t channels = filters_.size();
    if (channels == 1) return frames;
    const std::size_t count = frames.size() / channels;
    for (std::size_t i = 0; i < count; ++i) {
        const auto frame = frames.subspan(i * channels, channels);
        const Sample sample = frame[chosen_];
        measure(frame);
        frames[i] = sample; // of this frame or one before: what is still to be read stays
    }
    return frames.first(count);
}

template <class Sample> void loudest_channel<Sample>::measure(std::span<const Sample> frame)
{
    for (std::size_t channel = 0; channel < frame.size(); ++channel) {
        band_filter &filter = filters_[channel];
        const double state =
            frame[channel] + feedback1_ * filter.before1 + feedback2_ * filter.before2;
        // Zeros at 0 Hz and at half the rate keep the rest of the room out.
        const double passed = state - filter.before2;
        filter.before2 = filter.before1;
        filter.before1 = state;
        filter.block_power += passed * passed;
    }
    if (++measured_ == block_frames_) choose();
}

template <class Sample> void loudest_channel<Sample>::choose()
{
    measured_ = 0;
    for (band_filter &filter : filters_) {
        filter.power += kNewBlockShare * (filter.block_power - filter.power);
        filter.block_power = 0;
    }
    const auto loudest = std::ranges::max_element(filters_, {}, &band_filter::power);
    if (loudest->power > kHysteresis * filters_[chosen_].power)
        chosen_ = static_cast<std::size_t>(loudest - filters_.begin());
}

template class loudest_channel<int16_t>;
template class loudest_channel<float>;

} // namespace tonelink::tool
