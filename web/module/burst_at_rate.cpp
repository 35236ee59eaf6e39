#include "burst_at_rate.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <numeric>

#include "receiver/kaiser_filter.h"

namespace tonelink::web {

namespace {

constexpr double kAttenuationDb = 96;
constexpr double kPassHz = 20200;
constexpr std::size_t kMostTaps = 192; // at 42000 Hz

/// One row of a polyphase filter after the other, as each is needed for every `up`th sample alone.
class rate_filter {
public:
    explicit rate_filter(int32_t rate)
        : stop_hz_{std::min<double>(kAudioRate, rate) - kBandHighHz},
          half_{static_cast<int64_t>(std::ceil(
              kaiser_filter::length_for((stop_hz_ - kPassHz) / kAudioRate, kAttenuationDb) / 2))},
          response_{(stop_hz_ + kPassHz) / 2 / kAudioRate, static_cast<double>(half_),
                    kAttenuationDb}
    {
        assert(2 * static_cast<std::size_t>(half_) <= kMostTaps);
    }

    /// Makes the taps for outputs that lie `behind` an input, in samples of the input.
    void set_phase(double behind)
    {
        for (int64_t j = 0; j < 2 * half_; ++j)
            taps_[static_cast<std::size_t>(j)] =
                static_cast<float>(response_(static_cast<double>(j - half_ + 1) - behind));
    }

    /// The output that lies behind input `at`; silence is around the burst.
    float operator()(std::span<const int16_t, kBurstSamples> burst, int64_t at) const
    {
        const int64_t first = at - half_ + 1;
        const int64_t begin = std::max<int64_t>(first, 0);
        const int64_t end = std::min<int64_t>(first + 2 * half_, kBurstSamples);
        float sum = 0;
        for (int64_t i = begin; i < end; ++i)
            sum += static_cast<float>(burst[static_cast<std::size_t>(i)]) *
                   taps_[static_cast<std::size_t>(i - first)];
        return sum;
    }

private:
    double stop_hz_;
    int64_t half_; // taps to each side
    kaiser_filter response_;
    std::array<float, kMostTaps> taps_;
};

void limit_to_full_scale(std::span<float> samples)
{
    float peak = 1;
    for (const float sample : samples) peak = std::max(peak, std::abs(sample));
    for (float &sample : samples) sample /= peak;
}

} // namespace

std::size_t burst_length_at(int32_t rate)
{
    const auto samples = static_cast<int64_t>(kBurstSamples) * rate;
    return static_cast<std::size_t>((samples + kAudioRate - 1) / kAudioRate);
}

void burst_at_rate(std::span<const int16_t, kBurstSamples> burst, int32_t rate,
                   std::span<float> samples)
{
    constexpr float kFullScale = 32768;
    if (rate == kAudioRate) {
        std::ranges::transform(burst, samples.begin(), [](int16_t sample) {
            return static_cast<float>(sample) / kFullScale;
        });
        return;
    }
    // Output n lies at input n down / up.
    const int64_t common = std::gcd(kAudioRate, rate);
    const int64_t up = rate / common, down = kAudioRate / common;
    const auto count = static_cast<int64_t>(samples.size());
    rate_filter filter{rate};
    for (int64_t phase = 0; phase < std::min(up, count); ++phase) {
        filter.set_phase(static_cast<double>(phase * down % up) / static_cast<double>(up));
        for (int64_t n = phase; n < count; n += up)
            samples[static_cast<std::size_t>(n)] = filter(burst, n * down / up) / kFullScale;
    }
    limit_to_full_scale(samples);
}

} // namespace tonelink::web
