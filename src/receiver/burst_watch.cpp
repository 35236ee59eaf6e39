#include "receiver/burst_watch.h"

#include <cmath>

#include "modem/code_tables.h"
#include "receiver/symbol_spectra.h"

namespace tonelink {

namespace {

/// Of what is an exponential variable of mean 1 in noise, and about 400 in a clear burst. One false
/// sighting in an hour of noise: 245 looks a second, e^-14 each.
constexpr float kThreshold = 14;

constexpr std::size_t kDistance = 2; // symbols between the pilots that are compared

/// How many pairs of pilots that are.
constexpr int kPairs = [] {
    int pairs = 0;
    for (std::size_t s = 0; s + kDistance < kSymbols; ++s)
        for (std::size_t i = 0; i < kSubcarriers; ++i) pairs += holds_pilot(s, i) ? 1 : 0;
    return pairs;
}();
static_assert(kPairs == 427);

constexpr std::size_t bin_of(std::size_t column)
{
    return (kFirstSubcarrier + column + kBodySamples - baseband::kMiddle) % kBodySamples;
}

} // namespace

burst_watch::burst_watch()
{
    for (std::size_t s = 0; s + kDistance < kSymbols; ++s) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            const int turned =
                phi_scr[kSubcarriers * (s + kDistance) + i] - phi_scr[kSubcarriers * s + i];
            descrambling_[s][i] = from_turns(turned / 256.0);
        }
    }
    restart();
}

void burst_watch::restart()
{
    symbols_ = 0;
    rows_ = {};
    best_ = 0;
    now_ = 0;
}

void burst_watch::look(const baseband &sound)
{
    constexpr int64_t kReach = (kWindows - 1) * kWindowStep + int64_t{kBodySamples};
    while (int64_t{kSymbolSamples} * symbols_ + kReach <= sound.size()) {
        const int64_t first = int64_t{kSymbolSamples} * symbols_;
        auto &newest = rows_[static_cast<std::size_t>(symbols_) % kSymbols];
        ++symbols_;
        for (std::size_t half = 0; half < kHalves; ++half) {
            read_symbol(sound, first + static_cast<int64_t>(kFloatLanes * half) * kWindowStep,
                        newest[half]);
            const floats clearness = compare(half);
            for (std::size_t lane = 0; lane < kFloatLanes; ++lane)
                note(clearness[lane],
                     first - int64_t{kSymbolSamples * (kSymbols - 1)} +
                         static_cast<int64_t>(kFloatLanes * half + lane) * kWindowStep);
        }
    }
}

/// The spectra of four windows, each subcarrier brought to magnitude 1: neither a loud tone nor a
/// click counts for more than any other.
void burst_watch::read_symbol(const baseband &sound, int64_t first, lane_row &row) const
{
    std::array<lane_complex, kBodySamples> values;
    for (std::size_t m = 0; m < values.size(); ++m) {
        for (std::size_t lane = 0; lane < kFloatLanes; ++lane) {
            const float_complex value = sound.at(first + static_cast<int64_t>(lane) * kWindowStep +
                                                 static_cast<int64_t>(m));
            values[m].re[lane] = value.re;
            values[m].im[lane] = value.im;
        }
    }
    transform_(std::span{values});
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        const lane_complex value = values[bin_of(i)];
        const floats power = power_of(value);
        for (std::size_t lane = 0; lane < kFloatLanes; ++lane) {
            const float scale = power[lane] > 1e-20f ? 1 / std::sqrt(power[lane]) : 0;
            row[i].re[lane] = value.re[lane] * scale;
            row[i].im[lane] = value.im[lane] * scale;
        }
    }
}

/// What the pilots of the burst that ends with the newest symbol have in common.
floats burst_watch::compare(std::size_t half) const
{
    lane_complex sum{};
    for (std::size_t s = 0; s + kDistance < kSymbols; ++s) {
        const auto oldest = static_cast<std::size_t>(symbols_) % kSymbols;
        const lane_row &from = rows_[(oldest + s) % kSymbols][half];
        const lane_row &to = rows_[(oldest + s + kDistance) % kSymbols][half];
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2)
            sum += to[i] * conjugate(from[i]) * descrambling_[s][i];
    }
    return power_of(sum) / static_cast<float>(kPairs);
}

void burst_watch::note(float clearness, int64_t first_body)
{
    now_ = first_body;
    if (clearness <= best_ || clearness < kThreshold) return;
    best_ = clearness;
    best_body_ = first_body;
}

std::optional<double> burst_watch::take()
{
    constexpr auto kBurst = static_cast<int64_t>(kFrameSamples - kSymbolSamples);
    if (best_ == 0 || now_ - best_body_ < kBurst) return std::nullopt;
    best_ = 0;
    return burst_place{static_cast<double>(best_body_), 0}.first_sample();
}

} // namespace tonelink
