// A single-sideband frequency shifter: the Hilbert transformer makes the quadrature of the signal,
// a delay of 64 samples matches it, and a rotating pair of cosine and sine mixes the two, so that
// one sideband remains. Phase and histories run on from block to block; nothing is allocated per
// block.
#include "modem/band_shift.h"

#include <algorithm>
#include <array>

#include "modem/filter_taps.h"
#include "modem/fixed_point.h"
#include "modem/vector_stages.h"

namespace tonelink {

namespace {

constexpr std::size_t kHistory = kHilbertTaps - 1; // earlier samples that an output depends on

/// Earlier samples, then a block: output i depends on entries i to i + 128.
using straight_buffer = std::array<int16_t, kHistory + kShiftBlock + kShiftSlack>;
using block = std::array<int16_t, kShiftBlock + kShiftSlack>;

/// What the oscillator says for a block of samples.
struct rotations {
    block cosines;
    block sines;
    std::array<int32_t, kShiftBlock> negate; // -1 in the half turn that has the table's negative
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

/// Shifts the `count` samples behind the buffer's history into `output`.
void shift_block(const straight_buffer &input, std::size_t count, BandShiftInfo &info,
                 int16_t *output)
{
    block quadratures;
    fastest_stages().filter_quadratures(input.data(), count, quadratures.data());

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

    straight_buffer input{}; // zeros, as what lies behind a short block is read too
    std::copy_n(info->history.data, kHistory, input.begin());
    const int16_t *const end = samples + count;
    while (samples != end) {
        const std::size_t size = std::min(kShiftBlock, static_cast<std::size_t>(end - samples));
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
