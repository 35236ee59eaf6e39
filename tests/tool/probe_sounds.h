// The probe of a check as sound, and what paths without a fault do to it.
#pragma once

#include <cmath>
#include <random>

#include "burst_shape.h"
#include "check/probe.h"
#include "test_sounds.h"

namespace tonelink::test {

constexpr double kProbeLevel = -6; // dBFS

/// The probe as it is played, with silence around it.
inline sound played_probe()
{
    sound samples(tool::kAudioRate);
    for (const int16_t sample : tool::make_probe(kProbeLevel))
        samples.push_back(static_cast<float>(sample) / 32768.0f);
    samples.resize(samples.size() + tool::kAudioRate / 2);
    return samples;
}

inline sound scaled(sound samples, float gain)
{
    for (float &sample : samples) sample *= gain;
    return samples;
}

/// With noise, as every room has it: of a level in dB of full scale, flat over all frequencies.
inline sound with_noise(sound samples, double dbfs, uint32_t seed = 1)
{
    std::mt19937 source{seed};
    std::normal_distribution<float> value{0, static_cast<float>(std::pow(10, dbfs / 20))};
    for (float &sample : samples) sample += value(source);
    return samples;
}

} // namespace tonelink::test
