// A single-sideband frequency shifter: the Hilbert transformer makes the quadrature of the signal,
// a delay of 64 samples matches it, and a rotating pair of cosine and sine mixes the two, so that
// one sideband remains. Phase and histories run on from block to block; nothing is allocated per
// block.
#include "modem/band_shift.h"

#include <algorithm>
#include <array>

#include "modem/filter_taps.h"
#include "modem/fixed_point.h"
#include "modem/reference/band_shift.h"
#include "modem/sine.h"
#include "modem/vector_stages.h"

namespace tonelink {

namespace {

constexpr std::size_t kHistory = kHilbertTaps - 1; // earlier samples that an output depends on

/// Earlier samples, then a block: output i depends on entries i to i + 128.
using straight_buffer = std::array<int16_t, kHistory + kShiftBlock + kShiftSlack>;
using block = std::array<int16_t, kShiftBlock + kShiftSlack>;

// The modem's own shifts are 342 entries of the period of 8192 a sample. From any even entry the
// oscillator then goes through all 4096 even ones, so that a table in that order can be read
// straight on.
constexpr std::size_t kModemTurn = kSinePeriod / 2;
constexpr uint32_t kInverseOfHalfStep = 2563; // 171 x 2563 is 1 modulo 4096
static_assert(kBandShiftStep / 2 * kInverseOfHalfStep % kModemTurn == 1);

/// Cosines and sines in the order in which samples need them.
struct modem_oscillator {
    std::array<int16_t, kModemTurn + kShiftSlack> cosines;
    std::array<int16_t, kModemTurn + kShiftSlack> sines;
};
constexpr modem_oscillator kModemOscillator = [] {
    modem_oscillator table{};
    for (std::size_t i = 0; i < table.sines.size(); ++i) {
        // The table of sines has one half turn; the other is its negative, with 32768 as -32768.
        const std::size_t entry = static_cast<std::size_t>(kBandShiftStep) * i % kSinePeriod;
        const int32_t sign = entry < kHalfPeriod ? 1 : -1;
        table.cosines[i] = low16(sign * sine_q15(entry % kHalfPeriod + kCosine, kSinePeriod));
        table.sines[i] = low16(sign * sine_q15(entry % kHalfPeriod, kSinePeriod));
    }
    return table;
}();

/// What the oscillator says for samples to come, and for how many.
struct rotations {
    const int16_t *cosines;
    const int16_t *sines;
    std::size_t count;
};

/// Whether the oscillator can be read from the modem's table.
bool is_modems(const BandShiftInfo &info)
{
    return info.step == kBandShiftStep && info.phase % 2 == 0 && info.phase >= 0 &&
           info.phase < kHalfPeriod;
}

/// Up to `count` rotations from the modem's table. The oscillator moves on by those.
rotations read_modem_rotations(std::size_t count, BandShiftInfo &info)
{
    const auto entry = static_cast<uint32_t>(info.phase) + (info.half != 0 ? 0u : kHalfPeriod);
    const std::size_t at = entry / 2 * kInverseOfHalfStep % kModemTurn;
    count = std::min(count, kModemTurn - at);
    const std::size_t next = (entry + kBandShiftStep * count) % kSinePeriod;
    info.phase = static_cast<int32_t>(next % kHalfPeriod);
    info.half = next < kHalfPeriod ? 1 : 0;
    return {&kModemOscillator.cosines[at], &kModemOscillator.sines[at], count};
}

/// Up to `count` rotations of any oscillator, made in `cosines` and `sines`.
rotations make_rotations(std::size_t count, BandShiftInfo &info, block &cosines, block &sines)
{
    for (std::size_t i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(info.phase);
        const int32_t sign = info.half != 0 ? 1 : -1;
        cosines[i] = low16(sign * Sinewave[at + kCosine]);
        sines[i] = low16(sign * Sinewave[at]);
        info.phase += info.step;
        if (info.phase < kHalfPeriod) continue;
        info.phase &= kHalfPeriod - 1;
        info.half = info.half != 0 ? 0 : 1;
    }
    return {cosines.data(), sines.data(), count};
}

/// Whether the record is as openBandShift() and shift_in_vectors() leave it: with the library's own
/// coefficients, and with a delay line that is the end of the filter's history.
bool is_usual(const BandShiftInfo &info)
{
    const int16_t *const history_end = info.history.data + kHistory;
    return info.coef == coef_ht.data() &&
           std::equal(history_end - kHilbertDelay, history_end, info.delay.data);
}

void shift_in_vectors(std::span<int16_t> samples, BandShiftInfo &info, const vector_stages &stages)
{
    straight_buffer input{}; // zeros, as what lies behind a short block is read too
    block cosines{}, sines{}, output;
    std::copy_n(info.history.data, kHistory, input.begin());
    while (!samples.empty()) {
        const std::size_t room = std::min(kShiftBlock, samples.size());
        const rotations turned = is_modems(info) ? read_modem_rotations(room, info)
                                                 : make_rotations(room, info, cosines, sines);
        std::copy_n(samples.begin(), turned.count, &input[kHistory]);
        stages.shift_samples(input.data(), turned.count, turned.cosines, turned.sines,
                             info.freq <= 0, output.data());
        std::copy_n(output.begin(), turned.count, samples.begin());
        std::copy_n(&input[turned.count], kHistory, input.begin()); // what the next looks back on
        samples = samples.subspan(turned.count);
    }

    // The records keep the last input sample twice, and the in-phase delay for itself.
    std::copy_n(input.begin(), kHistory, info.history.data);
    info.history.data[kHistory] = input[kHistory - 1];
    std::copy_n(&input[kHistory - kHilbertDelay], kHilbertDelay, info.delay.data);
}

/// Puts the oscillator to its beginning.
void rewind_oscillator(BandShiftInfo &info)
{
    info.half = info.freq > 0 ? 1 : 0;
    info.phase = 0;
}

} // namespace

void restart_band_shift(BandShiftInfo &info)
{
    rewind_oscillator(info);
    vec16_clear(&info.delay);
    vec16_clear(&info.history);
}

void shift_band(std::span<int16_t> samples, BandShiftInfo &info, const vector_stages &stages)
{
    if (!is_open(info)) return;
    if (is_usual(info))
        shift_in_vectors(samples, info, stages);
    else
        reference::shift_band(samples, info);
}

} // namespace tonelink

void openBandShift(BandShiftInfo *info, int32_t freq)
{
    const uint32_t hertz =
        freq < 0 ? 0u - static_cast<uint32_t>(freq) : static_cast<uint32_t>(freq);
    info->freq = freq;
    info->step = static_cast<int32_t>(hertz * uint32_t{tonelink::kSinePeriod} /
                                      uint32_t{tonelink::kAudioRate});
    tonelink::rewind_oscillator(*info);
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
    if (count <= 0) return;
    shift_band({samples, static_cast<std::size_t>(count)}, *info, fastest_stages());
}

void closeBandShift(BandShiftInfo *info)
{
    vec16_free(&info->delay);
    vec16_free(&info->history);
}
