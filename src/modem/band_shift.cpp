// A single-sideband frequency shifter: the Hilbert transformer makes the quadrature of the signal,
// a delay of 64 samples matches it, and a rotating pair of cosine and sine mixes the two, so that
// one sideband remains. Phase and histories run on from block to block; nothing is allocated per
// block.
#include "modem/band_shift.h"

#include <algorithm>
#include <array>
#include <span>

#include "modem/filter_taps.h"
#include "modem/fixed_point.h"

namespace tonelink {

namespace {

constexpr std::size_t kHistory = kHilbertTaps - 1; // earlier samples that an output depends on
constexpr std::size_t kBlock = 512;                // samples taken at a time, on the stack
constexpr std::size_t kLanes = 32;                 // samples filtered side by side
static_assert(kBlock % kLanes == 0);

/// Earlier samples, then a block: output i depends on entries i to i + 128.
using straight_buffer = std::array<int16_t, kHistory + kBlock>;
using block = std::array<int16_t, kBlock>;
using lane_sums = std::array<int32_t, kLanes>;

/// A tap that is not zero, and its place in the filter.
struct placed_tap {
    int16_t value;
    uint16_t at;
};

/// The taps that are not zero: 76 of 129, half of them before the centre.
constexpr std::size_t kNonzeroTaps = static_cast<std::size_t>(
    std::count_if(coef_ht.begin(), coef_ht.end(), [](int16_t tap) { return tap != 0; }));
constexpr auto kTaps = [] {
    std::array<placed_tap, kNonzeroTaps> taps{};
    std::size_t n = 0;
    for (std::size_t t = 0; t < coef_ht.size(); ++t)
        if (coef_ht[t] != 0) taps[n++] = {coef_ht[t], static_cast<uint16_t>(t)};
    return taps;
}();
constexpr std::span<const placed_tap, kNonzeroTaps / 2> kOlderTaps{kTaps.data(), kNonzeroTaps / 2};
constexpr std::span<const placed_tap, kNonzeroTaps / 2> kNewerTaps{&kTaps[kNonzeroTaps / 2],
                                                                   kNonzeroTaps / 2};

/// Products with half of the taps, which sum to 54820 in magnitude: below 2^31.
lane_sums sum_products(std::span<const placed_tap, kNonzeroTaps / 2> taps,
                       const int16_t *__restrict input)
{
    lane_sums sums{};
    for (const placed_tap tap : taps)
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            sums[lane] += tap.value * input[tap.at + lane];
    return sums;
}

/// The quadratures of the samples in the middle of the filter. The two halves together may leave
/// int32, and wrap.
void filter_lanes(const int16_t *input, int16_t *quadratures)
{
    const lane_sums older = sum_products(kOlderTaps, input);
    const lane_sums newer = sum_products(kNewerTaps, input);
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        const uint32_t sum =
            static_cast<uint32_t>(older[lane]) + static_cast<uint32_t>(newer[lane]);
        quadratures[lane] = low16(static_cast<int32_t>(sum) >> 15);
    }
}

/// What the oscillator says for a block of samples.
struct rotations {
    block cosines;
    block sines;
    std::array<int32_t, kBlock> negate; // -1 in the half turn that has the table's negative, else 0
};

/// Runs the record's oscillator on by `count` samples, without a branch.
void rotate(std::size_t count, BandShiftInfo &info, rotations &turned)
{
    int32_t phase = info.phase;
    int32_t half = info.half != 0 ? 1 : 0;
    for (std::size_t i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(phase);
        turned.cosines[i] = Sinewave[at + kCosine];
        turned.sines[i] = Sinewave[at];
        turned.negate[i] = half - 1;
        phase += info.step;
        half ^= phase >= kHalfPeriod ? 1 : 0;
        phase &= kHalfPeriod - 1;
    }
    info.phase = phase;
    info.half = half;
}

/// -x where `mask` is -1, x where it is 0.
constexpr int32_t negate_if(int32_t x, int32_t mask) { return (x ^ mask) - mask; }

/// Shifts the last `count` samples of the buffer into `output`. What lies behind them is filtered
/// too, up to a whole number of lanes, and left out.
void shift_block(const straight_buffer &input, std::size_t count, BandShiftInfo &info,
                 int16_t *output)
{
    block quadratures;
    for (std::size_t i = 0; i < count; i += kLanes) filter_lanes(&input[i], &quadratures[i]);

    rotations turned;
    rotate(count, info, turned);
    const int32_t down = info.freq > 0 ? 0 : -1;
    for (std::size_t i = 0; i < count; ++i) {
        // Both products are rounded down before they are added or, for a shift down, subtracted.
        const int32_t cosine_part = turned.cosines[i] * input[i + kHilbertDelay];
        const int32_t sine_part = turned.sines[i] * quadratures[i];
        const int32_t a = negate_if(cosine_part, turned.negate[i]) >> 15;
        const int32_t b = negate_if(sine_part, turned.negate[i]) >> 15;
        output[i] = low16(a + negate_if(b, down));
    }
}

} // namespace
} // namespace tonelink

void openBandShift(BandShiftInfo *info, int32_t freq)
{
    const uint32_t hertz =
        freq < 0 ? 0u - static_cast<uint32_t>(freq) : static_cast<uint32_t>(freq);
    info->freq = freq;
    info->step = static_cast<int32_t>(hertz * 8192u / 44100u);
    info->half = freq > 0 ? 1 : 0;
    info->phase = 0;
    info->ntaps = static_cast<int32_t>(tonelink::kHilbertTaps);
    info->coef = tonelink::coef_ht.data();
    vec16_init(&info->delay);
    vec16_init(&info->history);
    vec16_set_length(&info->delay, static_cast<int32_t>(tonelink::kHilbertDelay));
    vec16_set_length(&info->history, static_cast<int32_t>(tonelink::kHilbertTaps));
    if (!tonelink::is_open(*info)) {
        closeBandShift(info);
        return;
    }
    vec16_clear(&info->delay);
    vec16_clear(&info->history);
}

void makeBandShift(int16_t *samples, int32_t count, BandShiftInfo *info)
{
    using namespace tonelink;
    if (count <= 0 || !is_open(*info)) return;

    straight_buffer input{}; // zeros, as lanes behind a short block are read too
    std::copy_n(info->history.data, kHistory, input.begin());
    const int16_t *const end = samples + count;
    while (samples != end) {
        const std::size_t size = std::min(kBlock, static_cast<std::size_t>(end - samples));
        std::copy_n(samples, size, &input[kHistory]);
        shift_block(input, size, *info, samples);
        std::copy_n(&input[size], kHistory, input.begin()); // what the next block looks back on
        samples += size;
    }

    // The records keep the last input sample twice, and the in-phase delay for itself.
    std::copy_n(input.begin(), kHistory, info->history.data);
    info->history.data[kHistory] = input[kHistory - 1];
    std::copy_n(&input[kHistory - kHilbertDelay], kHilbertDelay, info->delay.data);
}

void closeBandShift(BandShiftInfo *info)
{
    vec16_free(&info->delay);
    vec16_free(&info->history);
}

BandShiftInfo sInfoTx;
BandShiftInfo sInfoRx;
