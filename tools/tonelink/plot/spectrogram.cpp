#include "plot/spectrogram.h"

#include <algorithm>
#include <cmath>

namespace tonelink::tool {
namespace {

double decibels(float power)
{
    return 10 * std::log10(std::max(1e-20, static_cast<double>(power)));
}

/// How many spectra a column needs for each sample to count about the same: two a window.
std::size_t frames_in_column(const spectrogram_shape &shape)
{
    const double samples = static_cast<double>(shape.end_sample - shape.first_sample) /
                           static_cast<double>(shape.columns);
    return static_cast<std::size_t>(
        std::max(1.0, std::ceil(2 * samples / static_cast<double>(shape.window))));
}

} // namespace

spectrogram::spectrogram(const spectrogram_shape &shape, int64_t start)
    : shape_{shape}, frames_per_column_{frames_in_column(shape)}, pending_start_{start},
      transform_{shape.window, shape.transform},
      power_(shape.columns * (shape.transform / 2 + 1), 0.0f)
{
}

void spectrogram::put(std::span<const float> samples)
{
    pending_.insert(pending_.end(), samples.begin(), samples.end());
    const int64_t end = pending_start_ + static_cast<int64_t>(pending_.size());
    const auto window = static_cast<int64_t>(shape_.window);
    while (next_frame_ < shape_.columns * frames_per_column_ &&
           frame_start(next_frame_) + window <= end)
        transform_frame(next_frame_++);
    drop_passed();
}

void spectrogram::finish()
{
    while (next_frame_ < shape_.columns * frames_per_column_) transform_frame(next_frame_++);
    pending_.clear();
}

/// The first sample of a frame; the frames' centres are spread evenly over the columns.
int64_t spectrogram::frame_start(std::size_t frame) const
{
    const double range = static_cast<double>(shape_.end_sample - shape_.first_sample);
    const double centre = range * (static_cast<double>(frame) + 0.5) /
                          static_cast<double>(shape_.columns * frames_per_column_);
    return shape_.first_sample + std::llround(centre - static_cast<double>(shape_.window) / 2);
}

/// Adds a frame's power to its column. What lies outside the samples put counts as silence.
void spectrogram::transform_frame(std::size_t frame)
{
    const int64_t offset = frame_start(frame) - pending_start_;
    const auto available = static_cast<int64_t>(pending_.size());
    for (std::size_t i = 0; i < shape_.window; ++i) {
        const int64_t at = offset + static_cast<int64_t>(i);
        transform_.put(i,
                       at >= 0 && at < available ? pending_[static_cast<std::size_t>(at)] : 0.0f);
    }
    transform_.run();
    float *column = &power_[frame / frames_per_column_ * bins()];
    const float share = 1.0f / static_cast<float>(frames_per_column_);
    for (std::size_t bin = 0; bin < bins(); ++bin) column[bin] += share * transform_.power(bin);
}

void spectrogram::drop_passed()
{
    const int64_t passed = std::clamp<int64_t>(frame_start(next_frame_) - pending_start_, 0,
                                               static_cast<int64_t>(pending_.size()));
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(passed));
    pending_start_ += passed;
}

double spectrogram::level(std::size_t column, std::size_t bin) const
{
    return decibels(power_[column * bins() + bin]);
}

double spectrogram::peak_level() const
{
    return decibels(*std::max_element(power_.begin(), power_.end()));
}

double spectrogram::level_above(double share) const
{
    std::vector<float> sorted = power_;
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(sorted.size() - 1));
    std::nth_element(sorted.begin(), sorted.begin() + at, sorted.end());
    return decibels(sorted[static_cast<std::size_t>(at)]);
}

} // namespace tonelink::tool
