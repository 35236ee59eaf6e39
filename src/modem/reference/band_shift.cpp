#include "modem/reference/band_shift.h"

#include "modem/band_shift.h"
#include "modem/fixed_point.h"

namespace tonelink::reference {

namespace {

/// Takes a sample into the filter's moving history and returns the quadrature 64 samples back.
int16_t filter_sample(int16_t sample, BandShiftInfo &info)
{
    int16_t *const history = info.history.data;
    history[kHilbertTaps - 1] = sample;
    // |taps| of the library sum to 109640: the sum may leave int32, and wraps.
    uint32_t sum = static_cast<uint32_t>(int32_t{info.coef[kHilbertTaps - 1]} * sample);
    for (std::size_t t = 0; t < kHilbertTaps - 1; ++t) {
        sum += static_cast<uint32_t>(int32_t{info.coef[t]} * history[t]);
        history[t] = history[t + 1];
    }
    return low16(static_cast<int32_t>(sum) >> 15);
}

/// Takes a sample into the delay line and returns the one from 64 samples before.
int16_t delay_sample(int16_t sample, BandShiftInfo &info)
{
    int16_t *const delay = info.delay.data;
    const int16_t oldest = delay[0];
    for (std::size_t t = 0; t < kHilbertDelay - 1; ++t) delay[t] = delay[t + 1];
    delay[kHilbertDelay - 1] = sample;
    return oldest;
}

/// A rotation by the oscillator's angle, Q15; 32768 occurs.
struct rotation {
    int32_t cosine;
    int32_t sine;
};

/// The rotation for the next sample. The table holds one half of a turn, the other is its negative.
rotation next_rotation(BandShiftInfo &info)
{
    const auto at = static_cast<std::size_t>(info.phase);
    const int32_t sign = info.half != 0 ? 1 : -1;
    info.phase += info.step;
    if (info.phase >= kHalfPeriod) {
        info.phase &= kHalfPeriod - 1;
        info.half = info.half != 0 ? 0 : 1;
    }
    return {sign * Sinewave[at + kCosine], sign * Sinewave[at]};
}

} // namespace

void shift_band(std::span<int16_t> samples, BandShiftInfo &info)
{
    for (int16_t &sample : samples) {
        const int16_t in_phase = delay_sample(sample, info);
        const int16_t quadrature = filter_sample(sample, info);
        const rotation r = next_rotation(info);
        // Both products are rounded down before they are added or, for a shift down, subtracted.
        const int32_t a = (r.cosine * in_phase) >> 15;
        const int32_t b = (r.sine * quadrature) >> 15;
        sample = low16(info.freq > 0 ? a + b : a - b);
    }
}

} // namespace tonelink::reference
