#include "check/probe.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <span>

#include "burst_shape.h"
#include "send/burst_samples.h"

namespace tonelink::tool {
namespace {

constexpr double kToneRamp = 0.005, kChirpRamp = 0.002; // seconds

/// Rises at the beginning of a sound and falls at its end, as a cosine does: without a click.
double envelope(double seconds, double length, double ramp)
{
    const double inside = std::min(seconds, length - seconds) / ramp;
    if (inside <= 0) return 0;
    return inside >= 1 ? 1 : 0.5 - 0.5 * std::cos(std::numbers::pi * inside);
}

/// The sound while it is put together, with a peak of 1 for the tones.
class probe_sound {
public:
    probe_sound()
        : samples_(static_cast<std::size_t>((probe_time::kEnd + 2 * kProbeMargin) * kAudioRate))
    {
    }

    void add_chirp(double start)
    {
        add(start, probe_time::kChirpLength, [](double seconds) { return chirp_at(seconds); });
    }

    void add_tone(double start, double length, double hz, double gain)
    {
        add(start, length, [&](double seconds) {
            return gain * envelope(seconds, length, kToneRamp) *
                   std::sin(2 * std::numbers::pi * hz * seconds);
        });
    }

    void add_burst(double start, std::span<const int16_t> burst)
    {
        const double peak = std::abs(*std::ranges::max_element(
            burst, {}, [](int16_t sample) { return std::abs(int{sample}); }));
        auto *to = &samples_[index_of(start)];
        for (const int16_t sample : burst) *to++ += sample / peak;
    }

    std::vector<int16_t> at_level(double level_db) const
    {
        const double scale = 32767 * std::pow(10, level_db / 20);
        std::vector<int16_t> scaled;
        for (const double sample : samples_)
            scaled.push_back(static_cast<int16_t>(std::lround(scale * sample)));
        return scaled;
    }

private:
    static std::size_t index_of(double seconds)
    {
        return static_cast<std::size_t>(std::lround((seconds + kProbeMargin) * kAudioRate));
    }

    template <class Sound> void add(double start, double length, Sound sound_at)
    {
        const auto count = static_cast<std::size_t>(std::lround(length * kAudioRate));
        for (std::size_t i = 0; i < count; ++i)
            samples_[index_of(start) + i] += sound_at(static_cast<double>(i) / kAudioRate);
    }

    std::vector<double> samples_;
};

} // namespace

message_bits probe_message()
{
    constexpr std::array<uint8_t, 4> kText{'T', 'E', 'S', 'T'};
    return data_message(kText, message_length::short_32);
}

double chirp_at(double seconds)
{
    constexpr double kHzPerSecond = (kChirpHighHz - kChirpLowHz) / probe_time::kChirpLength;
    const double turns = (kChirpLowHz + kHzPerSecond / 2 * seconds) * seconds;
    return kChirpGain * envelope(seconds, probe_time::kChirpLength, kChirpRamp) *
           std::sin(2 * std::numbers::pi * turns);
}

std::vector<float> chirp_samples(double rate, double before, double seconds)
{
    std::vector<float> samples(static_cast<std::size_t>(std::ceil(seconds * rate)));
    for (std::size_t n = 0; n < samples.size(); ++n)
        samples[n] = static_cast<float>(chirp_at(static_cast<double>(n) / rate - before));
    return samples;
}

std::vector<int16_t> make_probe(double level)
{
    probe_sound sound;
    sound.add_chirp(0);
    for (std::size_t tone = 0; tone < kProbeTones; ++tone)
        sound.add_tone(tone_start(tone), probe_time::kToneLength, tone_hz(tone), 1);
    for (std::size_t step = 0; step < kLevels; ++step)
        sound.add_tone(level_start(step), probe_time::kLevelLength, kLevelHz,
                       std::pow(10, level_db(step) / 20));
    const auto burst = transmitted_burst(probe_message());
    for (std::size_t i = 0; i < kProbeBursts; ++i)
        sound.add_burst(probe_time::kBursts + static_cast<double>(i) * kBurstSeconds, burst);
    sound.add_chirp(probe_time::kLastChirp);
    return sound.at_level(level);
}

} // namespace tonelink::tool
