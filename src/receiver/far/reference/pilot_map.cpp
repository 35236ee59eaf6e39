#include "receiver/far/reference/pilot_map.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "modem/code_tables.h"
#include "receiver/far/median.h"
#include "receiver/fourier_transform.h"
#include "receiver/symbol_spectra.h"

namespace tonelink::reference {

namespace {

constexpr std::size_t kHop = 8;
constexpr std::size_t kHopsPerSymbol = kSymbolSamples / kHop;
constexpr int kRotationSteps = 4; // offsets from one pre-rotation to the next: 200 ppm
constexpr double kBasebandRate = kAudioRate / double{kInterpolation};
constexpr float kMedianOfNoise = 0.69f; // of an exponential of mean 1: ln 2

using spectrum = subcarrier_row;

/// The subcarriers' spectra at every hop, each of the level of noise of power 1.
std::vector<spectrum> spectra_of(std::span<const float_complex> sound, double clock)
{
    static const fourier_transform<kBodySamples> transform;
    std::array<float_complex, kBodySamples> turns;
    for (std::size_t m = 0; m < kBodySamples; ++m)
        turns[m] = from_turns(clock * subcarrier_hz(baseband::kMiddle) * static_cast<double>(m) /
                              kBasebandRate);
    std::vector<spectrum> spectra;
    for (std::size_t at = 0; at + kBodySamples <= sound.size(); at += kHop) {
        std::array<float_complex, kBodySamples> values;
        for (std::size_t m = 0; m < kBodySamples; ++m) values[m] = sound[at + m] * turns[m];
        transform(std::span{values});
        spectrum row;
        std::array<float, kSubcarriers> powers;
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            row[i] =
                values[(kFirstSubcarrier + i + kBodySamples - baseband::kMiddle) % kBodySamples];
            powers[i] = power_of(row[i]);
        }
        const float median = median_of(powers);
        const float scale = median > 0 ? std::sqrt(kMedianOfNoise / median) : 0;
        for (float_complex &cell : row) cell = cell * scale;
        spectra.push_back(row);
    }
    // A subcarrier that is louder than the others all the time.
    std::array<float, kSubcarriers> means{};
    for (const spectrum &row : spectra)
        for (std::size_t i = 0; i < kSubcarriers; ++i) means[i] += power_of(row[i]);
    const float median = median_of(means);
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        if (means[i] <= 2 * median) continue;
        for (spectrum &row : spectra) row[i] = row[i] * (median / means[i]);
    }
    return spectra;
}

} // namespace

pilot_map::pilot_map(std::span<const float_complex> sound, int most) : most_{most}
{
    energies_.resize(static_cast<std::size_t>(2 * most + 1));
    int rotation = 1000;
    std::vector<spectrum> spectra;
    for (int offset = -most; offset <= most; ++offset) {
        const auto nearest = static_cast<int>(std::lround(double(offset) / kRotationSteps));
        if (nearest != rotation) {
            rotation = nearest;
            spectra = spectra_of(sound, 1e-6 * kOffsetStep * kRotationSteps * rotation);
        }
        const double clock = 1e-6 * kOffsetStep * offset;
        std::array<spectrum, kSymbols> turns;
        for (std::size_t s = 0; s < kSymbols; ++s) {
            for (std::size_t i = 0; i < kSubcarriers; ++i) {
                const double hz = subcarrier_hz(kFirstSubcarrier + i);
                turns[s][i] = from_turns(double(1) * phi_scr[kSubcarriers * s + i] / 256 +
                                         hz * clock * double{kSymbolSamples} *
                                             static_cast<double>(s) / kBasebandRate);
            }
        }
        auto &row = energies_[static_cast<std::size_t>(offset + most)];
        constexpr std::size_t kReach = (kSymbols - 1) * kHopsPerSymbol;
        if (spectra.size() <= kReach) continue;
        row.assign(kHop * (spectra.size() - kReach), 0);
        for (std::size_t h = 0; h + kReach < spectra.size(); ++h) {
            subcarrier_row sums{};
            for (std::size_t s = 0; s < kSymbols; ++s)
                for (std::size_t i = s % 2; i < kSubcarriers; i += 2)
                    sums[i] += spectra[h + kHopsPerSymbol * s][i] * turns[s][i];
            for (int t = -4; t < 4; ++t) {
                const auto sample = static_cast<std::ptrdiff_t>(kHop * h) + t;
                if (sample < 0) continue;
                const float_complex to_next = from_turns(t / double{kBodySamples});
                float_complex turn{1, 0}, sum{};
                for (const float_complex pilot : sums) {
                    sum += pilot * turn;
                    turn = turn * to_next;
                }
                row[static_cast<std::size_t>(sample)] =
                    power_of(sum) / (kSymbols * kSubcarriers / 2);
            }
        }
    }
}

} // namespace tonelink::reference
