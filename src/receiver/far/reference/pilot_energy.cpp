#include "receiver/far/reference/pilot_energy.h"

#include <cmath>

#include "modem/code_tables.h"
#include "receiver/far/median.h"
#include "receiver/fourier_transform.h"
#include "receiver/symbol_spectra.h"

namespace tonelink::reference {

namespace {

constexpr double kBasebandRate = kAudioRate / double{kInterpolation};
constexpr float kMedianOfNoise = 0.69f; // of an exponential of mean 1

} // namespace

float pilot_energy(std::span<const float_complex> sound, double first_body, double clock)
{
    static const fourier_transform<kBodySamples> transform;
    const auto first = static_cast<std::size_t>(std::floor(first_body));
    const double late = first_body - static_cast<double>(first);
    float_complex sum{};
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const std::size_t later = kSymbolSamples * s;
        std::array<float_complex, kBodySamples> values;
        for (std::size_t m = 0; m < kBodySamples; ++m)
            values[m] =
                sound[first + later + m] * from_turns(clock * subcarrier_hz(baseband::kMiddle) *
                                                      static_cast<double>(m) / kBasebandRate);
        transform(std::span{values});

        subcarrier_row row;
        std::array<float, kSubcarriers> powers;
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const std::size_t bin = kFirstSubcarrier + i + kBodySamples - baseband::kMiddle;
            row[i] = values[bin % kBodySamples];
            powers[i] = power_of(row[i]);
        }
        const float scale = std::sqrt(kMedianOfNoise / median_of(powers));
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2) {
            const double hz = subcarrier_hz(kFirstSubcarrier + i);
            const double scrambled = static_cast<double>(phi_scr[kSubcarriers * s + i]) / 256;
            const double clocked = hz * clock * static_cast<double>(later) / kBasebandRate;
            const double delayed = late * static_cast<double>(i) / double{kBodySamples};
            sum += row[i] * from_turns(scrambled + clocked + delayed) * scale;
        }
    }
    constexpr int kPilotCount = kSymbols * kSubcarriers / 2;
    return power_of(sum) / kPilotCount;
}

} // namespace tonelink::reference
