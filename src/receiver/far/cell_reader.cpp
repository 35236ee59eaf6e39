#include "receiver/far/cell_reader.h"

#include <cmath>

#include "modem/code_tables.h"
#include "receiver/float_lanes.h"

namespace tonelink {

namespace {

constexpr double kBasebandRate = kAudioRate / double{kInterpolation};
constexpr double kHighestHz = subcarrier_hz(0);
constexpr double kMiddleHz = subcarrier_hz(baseband::kMiddle);

/// So many samples at each end of a body are averaged with their copies in the guard, which has 8.
constexpr std::size_t kAveraged = 6;

/// The bin of a subcarrier.
constexpr std::size_t bin_of(std::size_t subcarrier)
{
    return (subcarrier + kBodySamples - baseband::kMiddle) % kBodySamples;
}

/// A symbol's body and what is averaged with it.
using body_window = std::array<float_complex, kAveraged + kBodySamples + kAveraged>;

/// The window around the body that begins at `first`, with the clock's error taken out of it: all
/// subcarriers are moved by about the same.
void read_window(const far_sound &sound, int64_t first, float_complex step, body_window &window)
{
    float_complex turn{1, 0};
    for (std::size_t m = kAveraged; m-- > 0;) turn = turn * conjugate(step);
    for (std::size_t m = 0; m < window.size(); ++m, turn = turn * step)
        window[m] = sound.at(first + static_cast<int64_t>(m) - int64_t{kAveraged}) * turn;
}

/// The body's ends come once more in the guards: its last samples before it, and its first ones
/// behind it. But the burst begins and ends with ramps.
void average_ends(body_window &window, std::size_t s)
{
    float_complex *const body = &window[kAveraged];
    for (std::size_t m = 0; m < kAveraged; ++m) {
        float_complex &end = body[kBodySamples - kAveraged + m];
        if (s + 1 < kSymbols) body[m] = (body[m] + body[kBodySamples + m]) * 0.5f;
        if (s > 0) end = (end + window[m]) * 0.5f;
    }
}

} // namespace

cell_reader::cell_reader()
{
    for (std::size_t v = 0; v < phases_.size(); ++v)
        phases_[v] = from_turns(static_cast<double>(v) / static_cast<double>(phases_.size()));
}

void cell_reader::read(const far_sound &sound, const burst_place &place, guard use,
                       cell_grid &cells) const
{
    const float_complex step = from_turns(place.clock * kMiddleHz / kBasebandRate);
    for (std::size_t batch = 0; batch < kSymbols; batch += kFloatLanes) {
        std::array<basic_complex<floats>, kBodySamples> values;
        for (std::size_t lane = 0; lane < kFloatLanes; ++lane) {
            const double body = double{kSymbolSamples} * static_cast<double>(batch + lane);
            const auto first =
                static_cast<int64_t>(std::floor(place.first_body + body / (1 + place.clock) + 0.5));
            body_window window;
            read_window(sound, first, step, window);
            if (use == guard::averaged) average_ends(window, batch + lane);
            for (std::size_t m = 0; m < values.size(); ++m) {
                values[m].re[lane] = window[kAveraged + m].re;
                values[m].im[lane] = window[kAveraged + m].im;
            }
        }
        transform_(std::span{values});

        for (std::size_t lane = 0; lane < kFloatLanes; ++lane) {
            const std::size_t s = batch + lane;
            const double body = double{kSymbolSamples} * static_cast<double>(s);
            const double at =
                std::floor(place.first_body + body / (1 + place.clock) + 0.5) - place.first_body;
            // What mixed the subcarriers up to the band ran through the whole burst; they begin
            // anew with each body.
            const double common = (kHighestHz * place.clock / kBasebandRate + 0.25) * at;
            const double late = (at * (1 + place.clock) - body) / kBodySamples;
            float_complex straight = from_turns(common - double{kFirstSubcarrier} * late);
            const float_complex to_next = from_turns(-late);
            for (std::size_t i = 0; i < kSubcarriers; ++i, straight = straight * to_next) {
                const auto &bin = values[bin_of(kFirstSubcarrier + i)];
                const auto scrambling = static_cast<std::size_t>(phi_scr[kSubcarriers * s + i]);
                cells[s][i] =
                    float_complex{bin.re[lane], bin.im[lane]} * (straight * phases_[scrambling]);
            }
        }
    }
}

} // namespace tonelink
