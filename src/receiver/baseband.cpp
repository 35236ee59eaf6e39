#include "receiver/baseband.h"

#include <algorithm>
#include <cassert>

#include "receiver/float_lanes.h"
#include "receiver/kaiser_filter.h"

namespace tonelink {

namespace {

constexpr double kMiddleHz = subcarrier_hz(baseband::kMiddle);
constexpr double kBasebandRate = kAudioRate / double{kInterpolation};

// Flat within 0.01 dB to 1053 Hz from the middle, 71 dB down from 3.37 kHz on, where images come
// from.
constexpr double kCutoffHz = 2205;
constexpr double kAttenuationDb = 72;

/// How far the mixer goes with each baseband sample, whole turns left out.
constexpr std::size_t kMixerStep = 681; // of 2048
static_assert(kMiddleHz / kBasebandRate > 4 + 680.9 / 2048 &&
              kMiddleHz / kBasebandRate < 4 + 681.1 / 2048);

} // namespace

baseband::baseband()
{
    const kaiser_filter lowpass{kCutoffHz / kAudioRate, kReach + 1, kAttenuationDb};
    for (std::size_t k = 0; k < kTaps; ++k) {
        const double time = static_cast<double>(k) - double{kReach};
        // A tap meets the sample that lies `time` after the output's; mixed down by so much.
        const float_complex tap =
            from_turns(-kMiddleHz / kAudioRate * time) * static_cast<float>(lowpass(time));
        real_taps_[k] = tap.re;
        imaginary_taps_[k] = tap.im;
    }
    for (std::size_t n = 0; n < kMixerPeriod; ++n)
        mixer_[n] = from_turns(-static_cast<double>(n) / kMixerPeriod);
}

void baseband::restart()
{
    input_.fill(0);
    fill_ = kReach;
    size_ = 0;
    samples_.fill({});
}

void baseband::put(std::span<const float> samples)
{
    assert(samples.size() <= kBlock);
    std::ranges::copy(samples, input_.data() + fill_);
    fill_ += samples.size();
    std::size_t oldest = 0;
    for (; oldest + kTaps <= fill_; oldest += kInterpolation) {
        const auto turn = static_cast<std::size_t>(size_) % kMixerPeriod * kMixerStep;
        const float_complex mixed = filter(&input_[oldest]) * mixer_[turn % kMixerPeriod];
        samples_[static_cast<std::size_t>(size_) % kKept] = conjugate(mixed);
        ++size_;
    }
    std::copy(input_.data() + oldest, input_.data() + fill_, input_.data());
    fill_ -= oldest;
}

float_complex baseband::filter(const float *oldest) const
{
    floats real[2] = {}, imaginary[2] = {};
    for (std::size_t k = 0; k < kRow; k += 2 * kFloatLanes) {
        for (std::size_t i = 0; i < 2; ++i) {
            const std::size_t at = k + kFloatLanes * i;
            const floats samples = load_floats(oldest + at);
            real[i] += load_floats(&real_taps_[at]) * samples;
            imaginary[i] += load_floats(&imaginary_taps_[at]) * samples;
        }
    }
    return {sum_of(real[0] + real[1]), sum_of(imaginary[0] + imaginary[1])};
}

} // namespace tonelink
