// What the far receiver's tests listen to: bursts in noise, and what has become of them in the
// baseband.
#pragma once

#include <cmath>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "modem/channel_encoder.h"
#include "receiver/baseband.h"
#include "receiver/far/far_sound.h"
#include "receiver/far/known_words.h"
#include "support/modem_guard.h"

namespace tonelink::test {

using generator = std::mt19937_64;

inline const std::string kShortMessage = "11001010111111100000000110101100";
inline const std::string kLongMessage = kShortMessage + "0110100110010111";

inline std::size_t bits_in(const std::string &message) { return message.size(); }

inline uint64_t value_of(const std::string &message) { return std::stoull(message, nullptr, 2); }

/// The path that a message takes through the trellis.
inline code_word word_of(const std::string &message)
{
    const auto bits = bits_of(message);
    code_word word{{}, bits.size()};
    const auto set = [&](const auto &input) {
        for (std::size_t n = 0; n + kTailBits < input.size(); ++n)
            if (input[n] != 0) word.bits.set(n);
    };
    const std::span all{bits};
    if (bits.size() == 32)
        set(mask_tail_Message<32>(all.first<32>(), message_crc<32>(all.first<32>())));
    else
        set(mask_tail_Message<48>(all.first<48>(), message_crc<48>(all.first<48>())));
    return word;
}

inline float_complex complex_noise(generator &random, double power)
{
    std::normal_distribution<float> normal;
    const auto size = static_cast<float>(std::sqrt(power / 2));
    const float re = size * normal(random);
    return {re, size * normal(random)};
}

/// Sound at 44100 Hz: silence, then copies of a burst of RMS 0.01, each behind the one before it.
struct sent_bursts {
    std::string message = kShortMessage;
    std::size_t copies = 1;
    std::size_t first_sample = 20000;

    std::vector<float> samples() const
    {
        const auto burst = open_modem{}.burst(message);
        double power = 0;
        for (const double sample : burst) power += sample * sample / double{kBurstSamples};
        const double gain = 0.01 / std::sqrt(power);
        std::vector<float> sound(first_sample + copies * kBurstSamples + 9000, 0);
        for (std::size_t n = 0; n < copies * kBurstSamples; ++n)
            sound[first_sample + n] =
                static_cast<float>(gain * static_cast<double>(burst[n % kBurstSamples]));
        return sound;
    }
};

/// Noise that is white to 22.05 kHz, so much weaker than a burst in sent_bursts.
inline void add_noise(std::vector<float> &sound, double snr_db, generator &random)
{
    std::normal_distribution<float> normal{0,
                                           static_cast<float>(0.01 * std::pow(10, -snr_db / 20))};
    for (float &sample : sound) sample += normal(random);
}

/// The sound as a receiver hears it whose samples are taken at n (1 + clock).
inline std::vector<float> resampled(const std::vector<float> &sound, double clock)
{
    std::vector<float> out(static_cast<std::size_t>(double(sound.size()) / (1 + clock)), 0);
    constexpr int kReach = 64;
    for (std::size_t n = 0; n < out.size(); ++n) {
        const double time = double(n) * (1 + clock);
        const auto middle = static_cast<std::ptrdiff_t>(time);
        double sum = 0;
        for (auto k = middle - kReach + 1; k <= middle + kReach; ++k) {
            if (k < 0 || k >= std::ssize(sound)) continue;
            const double x = time - double(k), angle = 3.141592653589793 * x;
            const double window = std::pow(std::cos(angle / (2 * kReach)), 2);
            sum += double{sound[size_t(k)]} * window * (x == 0 ? 1 : std::sin(angle) / angle);
        }
        out[n] = static_cast<float>(sum);
    }
    return out;
}

/// The sound's baseband, put in by blocks of a size.
inline std::vector<float_complex> baseband_of(std::span<const float> sound, std::size_t block = 441)
{
    const auto front = std::make_unique<baseband>();
    std::vector<float_complex> all;
    for (std::size_t at = 0; at < sound.size(); at += block) {
        front->put(sound.subspan(at, std::min(block, sound.size() - at)));
        while (std::ssize(all) < front->size()) all.push_back(front->at(std::ssize(all)));
    }
    return all;
}

inline std::unique_ptr<far_sound> kept(std::span<const float_complex> samples)
{
    auto sound = std::make_unique<far_sound>();
    for (const float_complex sample : samples) sound->put(sample);
    return sound;
}

} // namespace tonelink::test
