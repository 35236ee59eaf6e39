#include "receiver/burst_meter.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tonelink {

namespace {

constexpr double kMiddleHz = (kBandLowHz + kBandHighHz) / 2;

/// Turns of a subcarrier from symbol to symbol for a clock that is wrong by 1.
constexpr double kTurnsOfClock = kMiddleHz * kInterpolation * double{kSymbolSamples} / kAudioRate;

using symbol_grid = std::array<subcarrier_row, kSymbols>;

/// The sum of how pilots turn from a symbol to the one `symbols` later, an even number.
float_complex turn_over(const symbol_grid &grid, std::size_t symbols)
{
    float_complex sum{};
    for (std::size_t s = 0; s + symbols < kSymbols; ++s)
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2)
            sum += grid[s + symbols][i] * conjugate(grid[s][i]);
    return sum;
}

/// How far pilots turn from a symbol to the next, where they are the subcarriers to either side: up
/// to half a turn. What an echo or a wrong start turns from subcarrier to subcarrier drops out.
float turn_to_next(const symbol_grid &grid)
{
    float_complex up{}, down{};
    for (std::size_t s = 0; s + 1 < kSymbols; ++s) {
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2) {
            const float_complex from = conjugate(grid[s][i]);
            if (i + 1 < kSubcarriers) up += grid[s + 1][i + 1] * from;
            if (i > 0) down += grid[s + 1][i - 1] * from;
        }
    }
    const float across = turns_of(up * conjugate(down)) / 2;
    return turns_of(up * from_turns(-across) + down * from_turns(across));
}

/// The level of a band whose subcarriers have such a power in the spectrum: a sine of full scale
/// has half its amplitude in the baseband and 128 times that in a bin.
float level_of_band(float power)
{
    const float of_full_scale = kSubcarriers * power * 4 / (kBodySamples * kBodySamples);
    return 10 * std::log10(std::max(of_full_scale, 1e-15f));
}

} // namespace

void burst_meter::begin(double sample, double clock)
{
    place_ = place_at(sample);
    place_.clock = clock;
    round_ = 0;
    row_ = 0;
}

bool burst_meter::step(const baseband &sound)
{
    if (row_ < kSymbols) {
        reader_->read(sound, place_, row_, grid_[row_]);
        ++row_;
        return false;
    }
    row_ = 0;
    if (++round_ == kRounds) measure_power();
    correct_clock();
    correct_start();
    if (round_ < kRounds) return false;
    figures_.first_sample = place_.first_sample();
    figures_.clock_ppm = static_cast<float>(place_.clock * 1e6);
    return true;
}

/// From neighbouring symbols, whose turn is unmistakable, to ever farther ones, whose turn is told
/// more precisely.
void burst_meter::correct_clock()
{
    float turn = turn_to_next(grid_);
    for (std::size_t symbols = 2; symbols <= kSymbols / 2; symbols *= 2) {
        const auto distance = static_cast<float>(symbols);
        const float rest = turns_of(turn_over(grid_, symbols) * from_turns(-turn * distance));
        turn += rest / distance;
    }
    place_.clock -= turn / kTurnsOfClock; // frequencies are turned round in the baseband

    channel_.fill({});
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const float_complex back = from_turns(-turn * static_cast<float>(s));
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2)
            channel_[i] += grid_[s][i] * back * (2.0f / kSymbols);
    }
}

/// A start that is late by t samples turns subcarrier i by i t / 128: the channel adds up best when
/// that is undone.
void burst_meter::correct_start()
{
    // Coarse and far at first, then ever finer.
    const int steps = round_ == 1 ? 44 : round_ == 2 ? 48 : 8; // to either side
    const double step = round_ == 1 ? 1 : 0.125;
    const auto sum_at = [this](double late) {
        const float_complex to_next = from_turns(late / double{kBodySamples});
        float_complex turn{1, 0}, sum{};
        for (const float_complex value : channel_) {
            sum += value * turn;
            turn = turn * to_next;
        }
        return power_of(sum);
    };
    double best = 0;
    float most = 0;
    for (int i = -steps; i <= steps; ++i) {
        const double late = i * step;
        const float sum = sum_at(late);
        if (sum > most) {
            most = sum;
            best = late;
        }
    }
    place_.first_body += best;
}

/// Each symbol has a gain of its own: the generator scales it as its content allows, and a moving
/// listener turns it. What the pilots are beside channel times gain is noise.
void burst_meter::measure_power()
{
    constexpr int kPilots = kSymbols * kSubcarriers / 2;
    constexpr int kUnknowns = kSubcarriers + kSymbols;
    constexpr float kLeastSum = std::numeric_limits<float>::min(); // whose inverse is a number
    std::array<float_complex, kSymbols> gains;
    gains.fill({1, 0});
    for (int pass = 0; pass < 3; ++pass) {
        for (std::size_t i = 0; i < kSubcarriers; ++i) {
            float_complex sum{};
            float power = 0;
            for (std::size_t s = i % 2; s < kSymbols; s += 2) {
                sum += grid_[s][i] * conjugate(gains[s]);
                power += power_of(gains[s]);
            }
            channel_[i] = power > kLeastSum ? sum * (1 / power) : float_complex{};
        }
        for (std::size_t s = 0; s < kSymbols; ++s) {
            float_complex sum{};
            float power = 0;
            for (std::size_t i = s % 2; i < kSubcarriers; i += 2) {
                sum += grid_[s][i] * conjugate(channel_[i]);
                power += power_of(channel_[i]);
            }
            gains[s] = power > kLeastSum ? sum * (1 / power) : float_complex{};
        }
    }
    float noise = 0, signal = 0;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        for (std::size_t i = s % 2; i < kSubcarriers; i += 2) {
            const float_complex expected = channel_[i] * gains[s];
            noise += power_of(grid_[s][i] - expected);
            signal += power_of(expected);
        }
    }
    noise /= kPilots - kUnknowns;
    // What was fitted holds its share of the noise.
    signal = std::max(signal / kPilots - noise * kUnknowns / kPilots, 1e-3f * noise);
    constexpr float kLeast = 1e-20f;
    figures_.snr_db = 10 * std::log10(std::max(signal, kLeast) / std::max(noise, kLeast));
    figures_.level_dbfs = level_of_band(signal);
    figures_.noise_dbfs = level_of_band(noise);
}

} // namespace tonelink
