#include "far/busy_sounds.h"

#include <cmath>
#include <numbers>

#include "link/everyday_sounds.h"

namespace tonelink::bench {

namespace {

constexpr double kRate = 44100;
constexpr double kTurn = 2 * std::numbers::pi;
constexpr double kLowest = 17500, kHighest = 20500; // Hz
constexpr double kNoise = 13;                       // RMS, full scale being 32768

double between(generator &random, double low, double high)
{
    return std::uniform_real_distribution<double>{low, high}(random);
}

double noise(generator &random) { return std::normal_distribution<double>{0, kNoise}(random); }

} // namespace

std::vector<int16_t> sweep_source::next()
{
    constexpr double kSpeed = 30000; // Hz a second
    constexpr double kAmplitude = 3000;
    sound block;
    for (std::size_t i = 0; i < kBlockSamples; ++i) {
        hz_ += kSpeed / kRate;
        if (hz_ < kLowest || hz_ > kHighest) hz_ = kLowest;
        phase_ = std::fmod(phase_ + hz_ / kRate, 1);
        block.push_back(static_cast<float>(kAmplitude * std::sin(kTurn * phase_) + noise(random_)));
    }
    return to_16_bits(block);
}

keyed_source::keyed_source(uint64_t seed) : random_{seed}
{
    for (tone &t : tones_) t.hz = between(random_, 18000, 20000);
}

std::vector<int16_t> keyed_source::next()
{
    constexpr double kAmplitude = 1000;
    sound block;
    for (std::size_t i = 0; i < kBlockSamples; ++i) {
        double sum = noise(random_);
        for (tone &t : tones_) {
            if (t.left == 0) {
                t.is_on = !t.is_on;
                t.left = static_cast<std::size_t>(kRate * between(random_, 0.03, 0.15));
                if (t.is_on) t.hz = between(random_, 18000, 20000);
            }
            --t.left;
            t.phase = std::fmod(t.phase + t.hz / kRate, 1);
            if (t.is_on) sum += kAmplitude * std::sin(kTurn * t.phase);
        }
        block.push_back(static_cast<float>(sum));
    }
    return to_16_bits(block);
}

} // namespace tonelink::bench
