// Sound as it reaches a receiver at any sample rate, full scale from -1 to 1: bursts whose sender's
// clock is off, noise, tones, and what devices make of them.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <random>
#include <span>
#include <vector>

#include "modem/burst_format.h"
#include "receiver/kaiser_filter.h"
#include "support/modem_guard.h"

namespace tonelink::test {

using sound = std::vector<float>;

inline std::size_t frames_in(double seconds, double rate)
{
    return static_cast<std::size_t>(seconds * rate);
}

inline double amplitude_of(double db) { return std::pow(10, db / 20); }

/// Mean power as a level: a sine of full scale has 0 dB.
inline double level_of(std::span<const float> samples)
{
    double sum = 0;
    for (const double x : samples) sum += x * x;
    return 10 * std::log10(2 * sum / static_cast<double>(samples.size()));
}

/// The samples at `rate` of a burst of full scale whose sender's clock runs faster by `ppm`: each
/// between its neighbours by a sinc function under a window, (1 - u^2)^4 over 80 samples.
inline sound burst_at(const char *bits, double rate, double ppm = 0)
{
    constexpr std::ptrdiff_t kReach = 40;
    const auto samples = open_modem{}.burst(bits);
    const double step = kAudioRate / rate * (1 + ppm * 1e-6);
    sound at_rate(static_cast<std::size_t>(static_cast<double>(samples.size()) / step));
    for (std::size_t n = 0; n < at_rate.size(); ++n) {
        const double at = static_cast<double>(n) * step;
        const auto before = static_cast<std::ptrdiff_t>(at);
        const double sine = std::sin(std::numbers::pi * (at - static_cast<double>(before)));
        double sum = 0;
        for (auto k = std::max<std::ptrdiff_t>(before - kReach + 1, 0);
             k <= std::min(before + kReach, std::ssize(samples) - 1); ++k) {
            const double distance = at - static_cast<double>(k);
            const double angle = std::numbers::pi * distance;
            const double sinc = distance == 0 ? 1 : ((before - k) % 2 == 0 ? sine : -sine) / angle;
            const double root = 1 - distance * distance / (kReach * kReach);
            sum += samples[static_cast<std::size_t>(k)] * sinc * root * root * root * root;
        }
        at_rate[n] = static_cast<float>(sum / 32768);
    }
    return at_rate;
}

/// Adds a sound from a frame on, so much louder; what lies beyond the end is left out.
inline void add(sound &to, std::span<const float> from, std::size_t at, double db = 0)
{
    const auto gain = static_cast<float>(amplitude_of(db));
    for (std::size_t i = 0; i < from.size() && at + i < to.size(); ++i)
        to[at + i] += gain * from[i];
}

/// White noise with so much power in the bursts' band.
inline sound band_noise(std::size_t frames, double rate, double band_db, unsigned seed)
{
    const double density = 0.5 * std::pow(10, band_db / 10) / (kBandHighHz - kBandLowHz);
    std::mt19937 random{seed};
    std::normal_distribution<float> gauss{0, static_cast<float>(std::sqrt(density * rate / 2))};
    sound samples(frames);
    for (float &sample : samples) sample = gauss(random);
    return samples;
}

inline sound sine(std::size_t frames, double rate, double hz, double db = 0)
{
    sound samples(frames);
    for (std::size_t n = 0; n < frames; ++n)
        samples[n] = static_cast<float>(
            amplitude_of(db) * std::sin(2 * std::numbers::pi * hz * static_cast<double>(n) / rate));
    return samples;
}

/// What passes a steep low-pass: 60 dB down 600 Hz above its edge.
inline sound cut_above(const sound &from, double rate, double hz)
{
    const double length = kaiser_filter::length_for(600 / rate, 60);
    const auto reach = static_cast<std::ptrdiff_t>(length / 2);
    const kaiser_filter filter{(hz + 300) / rate, static_cast<double>(reach), 60};
    sound taps;
    for (auto k = -reach; k <= reach; ++k)
        taps.push_back(static_cast<float>(filter(static_cast<double>(k))));
    sound passed(from.size() - taps.size());
    for (std::size_t n = 0; n < passed.size(); ++n) {
        float sum = 0;
        for (std::size_t k = 0; k < taps.size(); ++k) sum += taps[k] * from[n + k];
        passed[n] = sum;
    }
    return passed;
}

/// What a converter of 16 bits makes of it.
inline std::vector<int16_t> to_16_bits(std::span<const float> samples)
{
    std::vector<int16_t> row;
    for (const float x : samples)
        row.push_back(static_cast<int16_t>(std::lrint(std::clamp(x * 32768, -32768.0f, 32767.0f))));
    return row;
}

} // namespace tonelink::test
