#include "receiver/resampler.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <numeric>

#include "receiver/float_lanes.h"
#include "receiver/kaiser_filter.h"

namespace tonelink {

namespace {

constexpr double kPassHz = 20200;
constexpr double kAttenuationDb = 80;

constexpr int32_t kMostPhases = 256;
constexpr std::size_t kTapsStep = 4 * kFloatLanes; // of the loop over taps

struct filter_shape {
    std::size_t taps;
    std::size_t phases;
    double cutoff; // cycles a sample of the input
};

/// From the last frequency that passes to the first one that would come to lie in the band: folded
/// at half the output's rate, or as an image, folded at half the input's.
filter_shape shape_for(int32_t rate)
{
    const double stop_hz = std::min<double>(kAudioRate, rate) - kBandHighHz;
    const double length = kaiser_filter::length_for((stop_hz - kPassHz) / rate, kAttenuationDb);
    const auto steps = static_cast<std::size_t>(std::ceil(length / kTapsStep));
    // Where rates have few phases to each other, each is a row. Elsewhere the response is taken as
    // straight between two: (2 pi f / rate / phases)^2 / 8 off.
    const int32_t exact = kAudioRate / std::gcd(kAudioRate, rate);
    const auto enough =
        std::bit_ceil(static_cast<unsigned>(std::ceil(40 * 2 * 3.1416 * kPassHz / rate)));
    const std::size_t phases = exact <= kMostPhases ? static_cast<std::size_t>(exact) : enough;
    return {kTapsStep * steps, phases, (stop_hz + kPassHz) / 2 / rate};
}

} // namespace

std::size_t resampler::table_size(int32_t rate)
{
    const filter_shape shape = shape_for(rate);
    return shape.taps * (shape.phases + 1);
}

resampler::resampler(int32_t rate, std::span<float> table) : rate_{rate}, table_{table}
{
    const filter_shape shape = shape_for(rate);
    taps_ = shape.taps;
    phases_ = shape.phases;
    assert(taps_ <= kMostTaps && table.size() == taps_ * (phases_ + 1));
    const double half = static_cast<double>(taps_) / 2;
    const kaiser_filter filter{shape.cutoff, half, kAttenuationDb};
    for (std::size_t p = 0; p <= phases_; ++p) {
        const double behind = static_cast<double>(p) / static_cast<double>(phases_);
        for (std::size_t j = 0; j < taps_; ++j)
            table[taps_ * p + j] =
                static_cast<float>(filter(static_cast<double>(j) - half + 1 - behind));
    }
    restart();
}

void resampler::restart()
{
    samples_.fill(0);
    fill_ = taps_ / 2 - 1; // silence, up to the stream's first sample
    oldest_ = 0;
    remainder_ = 0;
}

resampler::progress resampler::run(std::span<const float> input, std::span<float> output)
{
    progress done{0, 0};
    for (;;) {
        while (done.made < output.size() && oldest_ + taps_ <= fill_) {
            output[done.made++] = next_sample();
            remainder_ += rate_ % kAudioRate;
            oldest_ += static_cast<std::size_t>(rate_ / kAudioRate);
            if (remainder_ < kAudioRate) continue;
            remainder_ -= kAudioRate;
            ++oldest_;
        }
        if (done.made == output.size() || done.used == input.size()) return done;
        make_room();
        const std::size_t count = std::min(input.size() - done.used, kRoom - fill_);
        std::copy_n(&input[done.used], count, samples_.data() + fill_);
        fill_ += count;
        done.used += count;
    }
}

std::size_t resampler::missing(std::size_t outputs) const
{
    const int64_t advance = (remainder_ + static_cast<int64_t>(outputs - 1) * rate_) / kAudioRate;
    const std::size_t end = oldest_ + static_cast<std::size_t>(advance) + taps_;
    return end > fill_ ? end - fill_ : 1;
}

/// Drops what no output will look at any more.
void resampler::make_room()
{
    const std::size_t dropped = std::min(oldest_, fill_);
    std::copy(samples_.data() + dropped, samples_.data() + fill_, samples_.data());
    fill_ -= dropped;
    oldest_ -= dropped;
}

float resampler::next_sample() const
{
    const auto at = static_cast<int64_t>(phases_) * remainder_;
    const float *const row = &table_[taps_ * static_cast<std::size_t>(at / kAudioRate)];
    const float *const samples = &samples_[oldest_];
    const float before = filter(samples, row);
    const auto rest = static_cast<float>(at % kAudioRate);
    if (rest == 0) return before;
    return before + (filter(samples, row + taps_) - before) * rest / kAudioRate;
}

float resampler::filter(const float *samples, const float *row) const
{
    floats sums[4] = {};
    for (std::size_t j = 0; j < taps_; j += kTapsStep)
        for (std::size_t i = 0; i < 4; ++i)
            sums[i] +=
                load_floats(row + j + kFloatLanes * i) * load_floats(samples + j + kFloatLanes * i);
    return sum_of((sums[0] + sums[1]) + (sums[2] + sums[3]));
}

} // namespace tonelink
