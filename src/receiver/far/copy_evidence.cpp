#include "receiver/far/copy_evidence.h"

#include <algorithm>

#include "receiver/far/cell_weights.h"
#include "receiver/far/soft_values.h"

namespace tonelink {

namespace {

/// A burst is there when its likeness to the channel, which is 1 on average in noise, is no less
/// than this share of the average of all copies. Where five equal copies are heard at all that is
/// above 5, which noise exceeds once in e^5; beside a much louder one, it is there all the same
/// when noise would be no more like it once in e^12.
constexpr float kShareOfBurst = 0.3f;
constexpr float kSureBurst = 12;

/// Delays within which a burst's energy is looked for: those of the channel's estimate.
constexpr int kEarliest = channel_estimate<float>::kEarliest;
constexpr int kTaps = static_cast<int>(channel_estimate<float>::kTaps);

/// A figure for what is not there, or is without noise.
constexpr float kLeastSnr = 1e-4f;
constexpr float kMostSnr = 1e3f;

} // namespace

void copy_evidence::read(const burst_place &place, const shared_channel &shared,
                         const cell_reader &reader, const far_sound &sound)
{
    // With the guards left alone, as the noise would look weaker with their help.
    reader.read(sound, place, cell_reader::guard::left, cells_);
    const cell_weights weights = weigh_cells(cells_);
    noise_ = weights.noise;
    gain_power_ = 0;
    for (const float_complex gain : shared.gains) gain_power_ += power_of(gain) / kSymbols;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        float_complex sum{};
        float weight = 0;
        for (std::size_t s = 0; s < kSymbols; ++s) {
            const float trust = weights.symbol[s];
            sum += cells_[s][i] * conjugate(shared.gains[s]) * (expected_[s][i] * trust);
            weight += power_of(shared.gains[s]) * trust;
        }
        const bool is_known = weights.subcarrier[i] == 1 && weight > 0 && noise_ > 0;
        mean_[i] = is_known ? sum * (1 / weight) : float_complex{};
        variance_[i] = is_known ? noise_ / weight : 0;
    }
}

/// How much of a copy is along a channel: a power, over that of its noise.
float copy_evidence::likeness(const subcarrier_row &channel) const
{
    float_complex along{};
    float power = 0;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        if (variance_[i] <= 0) continue;
        along += conjugate(channel[i]) * mean_[i] * (1 / variance_[i]);
        power += power_of(channel[i]) / variance_[i];
    }
    return power > 0 ? power_of(along) / power : 0;
}

/// The energy of all delays together, less what noise has of it.
float copy_evidence::snr() const
{
    float noise = 0;
    int known = 0;
    for (const float variance : variance_) {
        noise += variance;
        known += variance > 0 ? 1 : 0;
    }
    if (known == 0) return kLeastSnr;
    float energy = 0;
    for (int tap = 0; tap < kTaps; ++tap) {
        const float_complex to_next = from_turns(double(kEarliest + tap) / double{kBodySamples});
        float_complex turn{1, 0}, sum{};
        for (const float_complex mean : mean_) {
            sum += mean * turn;
            turn = turn * to_next;
        }
        energy += power_of(sum);
    }
    const float signal = (energy - static_cast<float>(kTaps) * noise) * gain_power_ /
                         static_cast<float>(int{kBodySamples} * known);
    return std::clamp(signal / noise_, kLeastSnr, kMostSnr);
}

present_copies copy_evidence::look(const copy_set &copies, const code_word &word,
                                   const shared_channel &shared, const cell_reader &reader,
                                   const far_sound &sound)
{
    expect_cells(code_bits_of(word), word.message_bits, expected_);
    std::array<float, kMostCopies> likenesses{}, ratios{};
    float mean = 0;
    for (std::size_t copy = 0; copy < copies.count; ++copy) {
        read(copies.places[copy], shared, reader, sound);
        likenesses[copy] = likeness(shared.channel);
        ratios[copy] = snr();
        mean += likenesses[copy] / static_cast<float>(copies.count);
    }
    const auto is_there = [&](std::size_t copy) {
        return likenesses[copy] >= std::min(kShareOfBurst * mean, kSureBurst);
    };
    present_copies present;
    for (std::size_t begin = 0; begin < copies.count;) {
        const std::size_t end = begin < copies.second_write ? copies.second_write : copies.count;
        std::size_t first = begin, last = end;
        while (first < last && !is_there(first)) ++first;
        while (last > first && !is_there(last - 1)) --last;
        if (first < last) {
            present.write.add_write({&copies.places[first], last - first}, first - begin);
            present.last = copies.places[last - 1];
            present.count += last - first;
            for (std::size_t copy = first; copy < last; ++copy) present.snr += ratios[copy];
        }
        begin = end;
    }
    if (present.count == 0)
        return {copies, copies.places[copies.count - 1], copies.count, kLeastSnr};
    present.snr /= static_cast<float>(present.count);
    return present;
}

} // namespace tonelink
