#include "receiver/symbol_spectra.h"

#include <cmath>

#include "modem/code_tables.h"

namespace tonelink {

namespace {

constexpr double kBasebandRate = kAudioRate / double{kInterpolation};
constexpr double kHighestHz = subcarrier_hz(0);
constexpr double kMiddleHz = subcarrier_hz(baseband::kMiddle);

/// The bin of a subcarrier.
constexpr std::size_t bin_of(std::size_t subcarrier)
{
    return (subcarrier + kBodySamples - baseband::kMiddle) % kBodySamples;
}

} // namespace

symbol_reader::symbol_reader()
{
    for (std::size_t v = 0; v < phases_.size(); ++v)
        phases_[v] = from_turns(static_cast<double>(v) / static_cast<double>(phases_.size()));
}

void symbol_reader::read(const baseband &sound, const burst_place &place, std::size_t row,
                         subcarrier_row &subcarriers) const
{
    const double body = double{kSymbolSamples} * static_cast<double>(row);
    const auto first =
        static_cast<int64_t>(std::floor(place.first_body + body / (1 + place.clock) + 0.5));
    const double at = static_cast<double>(first) - place.first_body;

    // The clock's error has moved all subcarriers by about the same.
    std::array<float_complex, kBodySamples> values;
    float_complex turn{1, 0};
    const float_complex step = from_turns(place.clock * kMiddleHz / kBasebandRate);
    for (std::size_t m = 0; m < values.size(); ++m, turn = turn * step)
        values[m] = sound.at(first + static_cast<int64_t>(m)) * turn;
    transform_(std::span{values});

    // What mixed the subcarriers up to the band ran through the whole burst; they begin anew with
    // each body.
    const double common = (kHighestHz * place.clock / kBasebandRate + 0.25) * at;
    const double late = (at * (1 + place.clock) - body) / kBodySamples;
    float_complex straight = from_turns(common - double{kFirstSubcarrier} * late);
    const float_complex to_next = from_turns(-late);
    for (std::size_t i = 0; i < kSubcarriers; ++i, straight = straight * to_next) {
        const auto scrambling = static_cast<std::size_t>(phi_scr[kSubcarriers * row + i]);
        subcarriers[i] = values[bin_of(kFirstSubcarrier + i)] * (straight * phases_[scrambling]);
    }
}

} // namespace tonelink
