#include "link/everyday_sounds.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace tonelink::bench {

namespace {

constexpr double kRate = 44100;
constexpr double kTurn = 2 * std::numbers::pi;

double between(generator &random, double low, double high)
{
    return std::uniform_real_distribution<double>{low, high}(random);
}

double normal(generator &random) { return std::normal_distribution<double>{}(random); }

} // namespace

std::vector<int16_t> noise_source::next()
{
    sound block;
    for (std::size_t i = 0; i < kBlockSamples; ++i)
        block.push_back(static_cast<float>(6000 * normal(random_)));
    return to_16_bits(block);
}

void speech_source::resonance::tune(double hz, double width_hz)
{
    const double radius = std::exp(-std::numbers::pi * width_hz / kRate);
    feedback1 = 2 * radius * std::cos(kTurn * hz / kRate);
    feedback2 = -radius * radius;
    gain = 1 - radius;
}

double speech_source::resonance::pass(double x)
{
    const double y = gain * x + feedback1 * y1 + feedback2 * y2;
    y2 = y1;
    y1 = y;
    return y;
}

void speech_source::begin_syllable()
{
    is_pause_ = between(random_, 0, 1) < 0.2;
    is_voiced_ = between(random_, 0, 1) < 0.65;
    left_ = static_cast<std::size_t>(kRate * between(random_, 0.06, is_pause_ ? 0.5 : 0.3));
    pitch_hz_ = between(random_, 90, 250);
    if (is_voiced_) {
        resonances_[0].tune(between(random_, 300, 900), 80);
        resonances_[1].tune(between(random_, 900, 2500), 120);
        resonances_[2].tune(between(random_, 2300, 3500), 200);
    } else {
        resonances_[0].tune(between(random_, 4000, 8000), 3000);
        resonances_[1].tune(between(random_, 8000, 14000), 4000);
        resonances_[2].tune(between(random_, 14000, 20000), 5000);
    }
}

std::vector<int16_t> speech_source::next()
{
    sound block;
    for (std::size_t i = 0; i < kBlockSamples; ++i) {
        if (left_ == 0) begin_syllable();
        --left_;
        double excitation = normal(random_);
        if (is_voiced_) {
            phase_ += pitch_hz_ / kRate;
            excitation = 0.02 * excitation + (phase_ >= 1 ? 40 : 0);
            if (phase_ >= 1) phase_ -= 1;
        }
        if (is_pause_) excitation = 0;
        double sample = 0;
        for (auto &r : resonances_) sample += r.pass(excitation);
        block.push_back(static_cast<float>(12000 * sample));
    }
    return to_16_bits(block);
}

void music_source::begin_beat()
{
    at_ = 0;
    drum_ = between(random_, 0.2, 1);
    for (tone &t : chord_) {
        const double semitones = std::floor(between(random_, 0, 48));
        t.hz = 110 * std::pow(2, semitones / 12);
    }
}

std::vector<int16_t> music_source::next()
{
    constexpr std::size_t kBeat = 22050 / 2;
    constexpr int kPartials = 40;
    sound block(kBlockSamples, 0);
    for (float &sample : block) {
        if (at_ == 0 || at_ == kBeat) begin_beat();
        const double t = static_cast<double>(at_++) / kRate;
        double sum = 6000 * drum_ * std::exp(-t * 30) * normal(random_);
        for (tone &voice : chord_) {
            voice.phase = std::fmod(voice.phase + voice.hz / kRate, 1.0);
            // The partials of a saw tooth, without those beyond half the sample rate.
            const int partials = std::min(kPartials, static_cast<int>(22000 / voice.hz));
            const std::complex<double> step = std::polar(1.0, kTurn * voice.phase);
            std::complex<double> partial = step;
            for (int n = 1; n <= partials; ++n, partial *= step)
                sum += 2500 * std::exp(-t * 3) * partial.imag() / n;
        }
        sample = static_cast<float>(sum);
    }
    return to_16_bits(block);
}

} // namespace tonelink::bench
