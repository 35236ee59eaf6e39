#include "receiver/far/pilot_map.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "receiver/far/median.h"

namespace tonelink {

namespace {

/// The median of an exponential of mean 1.
constexpr float kMedianOfNoise = 0.69f;

/// A subcarrier that is louder than this many times the others, for about a second, holds no burst.
constexpr float kLoudSubcarrier = 2;
constexpr int64_t kMeanSymbols = 30;

/// Bits of a float that a median is found to: a thousandth.
constexpr int kHalvings = 18;

} // namespace

void pilot_map::restart()
{
    window_.fill({});
    fill_ = 0;
    symbols_ = 0;
    for (auto &rotation : ring_) rotation.fill({});
    energies_.fill({});
    means_.fill(1);
    weights_.fill(1);
}

bool pilot_map::put(float_complex sample)
{
    window_[fill_++] = sample;
    if (fill_ < kWindow) return false;
    make_block();
    std::copy(window_.begin() + kSymbolSamples, window_.end(), window_.begin());
    fill_ = kWindow - kSymbolSamples;
    return true;
}

void pilot_map::make_block()
{
    for (std::size_t m = 0; m < kBodySamples; ++m) {
        for (std::size_t hop = 0; hop < kMapHops; ++hop) {
            bodies_.samples[m].re[hop] = window_[m + kMapHop * hop].re;
            bodies_.samples[m].im[hop] = window_[m + kMapHop * hop].im;
        }
    }
    const auto newest = static_cast<std::size_t>(symbols_) % kSymbols;
    ++symbols_;
    for (std::size_t r = 0; r < kRotations; ++r)
        stages_->transform(tables_, bodies_, r, ring_[r][newest]);
    measure_levels(ring_[kRotations / 2][newest]);
    for (auto &rotation : ring_) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            hop_values &values = rotation[newest].subcarriers[i];
            for (std::size_t hop = 0; hop < kMapHops; ++hop) {
                const float scale = scales_[hop] * weights_[i];
                values.re[hop] *= scale;
                values.im[hop] *= scale;
            }
        }
    }
    for (std::size_t r = 0; r < kRotations; ++r) {
        std::array<const hop_spectra *, kSymbols> symbols;
        for (std::size_t s = 0; s < kSymbols; ++s)
            symbols[s] = &ring_[r][(newest + 1 + s) % kSymbols];
        stages_->add_up_pilots(tables_, symbols.data(), r, energies_[r]);
    }
}

/// What brings each hop's noise to power 1, by the median of its subcarriers; and weights against
/// subcarriers that are louder than the others all the time.
void pilot_map::measure_levels(const hop_spectra &spectra)
{
    // Positive numbers are ordered as their bits are.
    alignas(32) uint32_t powers[kSubcarriers][kMapHops];
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        const hop_values &values = spectra.subcarriers[i];
        for (std::size_t hop = 0; hop < kMapHops; ++hop)
            powers[i][hop] = std::bit_cast<uint32_t>(values.re[hop] * values.re[hop] +
                                                     values.im[hop] * values.im[hop]);
    }
    alignas(32) uint32_t medians[kMapHops] = {};
    for (int bit = 30; bit > 30 - kHalvings; --bit) {
        uint32_t below[kMapHops] = {};
        for (const auto &row : powers)
            for (std::size_t hop = 0; hop < kMapHops; ++hop)
                below[hop] += row[hop] < (medians[hop] | uint32_t{1} << bit) ? 1 : 0;
        for (std::size_t hop = 0; hop < kMapHops; ++hop)
            if (below[hop] <= kSubcarriers / 2) medians[hop] |= uint32_t{1} << bit;
    }
    constexpr float kLeast = 1e-30f; // of silence
    for (std::size_t hop = 0; hop < kMapHops; ++hop) {
        const auto median = std::bit_cast<float>(medians[hop]);
        scales_[hop] = median > kLeast ? std::sqrt(kMedianOfNoise / median) : 0;
    }
    measure_subcarriers(spectra);
}

void pilot_map::measure_subcarriers(const hop_spectra &spectra)
{
    const float share = 1.0f / static_cast<float>(std::min(symbols_, kMeanSymbols));
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        const hop_values &values = spectra.subcarriers[i];
        float power = 0;
        for (std::size_t hop = 0; hop < kMapHops; ++hop)
            power += (values.re[hop] * values.re[hop] + values.im[hop] * values.im[hop]) *
                     scales_[hop] * scales_[hop];
        means_[i] += (power / kMapHops - means_[i]) * share;
    }
    const float limit = kLoudSubcarrier * median_of(means_);
    for (std::size_t i = 0; i < kSubcarriers; ++i)
        weights_[i] = means_[i] > limit ? limit / kLoudSubcarrier / means_[i] : 1;
}

} // namespace tonelink
