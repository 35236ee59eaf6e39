// ALSA devices for a test, and a sound in the band of the bursts that tells what they made of it.
#pragma once

#include <array>
#include <cmath>
#include <complex>
#include <numbers>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sndfile.hh>

#include "scratch_folder.h"
#include "sound/alsa_library.h"

namespace tonelink::test {

/// A device with a file behind it: what is played to it, or what it captures.
struct sound_device {
    const char *plugin; ///< what an ALSA configuration says of it, with the file as FILE
    int file_format;    ///< of the file, as libsndfile names it
    int channels;
    int rate;
};

/// Each takes one thing alone: a sample format, a number of channels, a rate, a period; the first
/// converts by itself where it is not bypassed, by periods and badly.
inline const std::array<sound_device, 6> kSoundDevices = {{
    {"type rate converter linear slave { rate 48000 pcm { type card file \"FILE\" format S16_LE "
     "channels 1 rate 48000 } }",
     SF_FORMAT_PCM_16, 1, 48000},
    {"type card file \"FILE\" format S16_LE channels 2 rate 44100", SF_FORMAT_PCM_16, 2, 44100},
    {"type card file \"FILE\" format S32_LE channels 2 rate 48000 period 1024", SF_FORMAT_PCM_32, 2,
     48000},
    {"type card file \"FILE\" format S24_3LE channels 1 rate 88200", SF_FORMAT_PCM_24, 1, 88200},
    {"type card file \"FILE\" format FLOAT_LE channels 8 rate 96000", SF_FORMAT_FLOAT, 8, 96000},
    {"type plug slave.pcm { type card file \"FILE\" format S32_LE channels 2 rate 192000 }",
     SF_FORMAT_PCM_32, 2, 192000},
}};

/// Makes the plug-in the device `test`, with sound.raw in the folder as its file, and ALSA know no
/// other. Returns the file's path.
inline std::string set_device(const scratch_folder &folder, std::string plugin)
{
    const auto file = folder.file("sound.raw");
    if (const auto at = plugin.find("FILE"); at != std::string::npos) plugin.replace(at, 4, file);
    const auto path =
        folder.write("asoundrc", "pcm_type.card { lib \"" TONELINK_SOUND_CARD "\" }\npcm.test { " +
                                     plugin + " }\n");
    setenv("ALSA_CONFIG_PATH", path.c_str(), 1);
    snd_config_update_free_global(); // it does not read a file anew that is written within a second
    return file;
}

constexpr std::array kTonesHz = {18100, 18800, 19500, 20120};
constexpr double kToneAmplitude = 0.2;

/// A second of four tones over the band of the bursts.
inline std::vector<float> tones(int rate)
{
    std::vector<float> samples;
    for (int n = 0; n < rate; ++n) {
        double sum = 0;
        for (const int hz : kTonesHz) sum += std::sin(2 * std::numbers::pi * hz * n / rate);
        samples.push_back(static_cast<float>(kToneAmplitude * sum));
    }
    return samples;
}

/// Whether these samples are the tones, whatever their delay: each as loud as it should be, and
/// with a phase that says at two places, half a second apart, that the pace is right to 1 ppm.
inline void expect_tones(const std::vector<float> &samples, int rate)
{
    ASSERT_GE(samples.size(), static_cast<std::size_t>(rate) * 9 / 10);
    const int window = rate / 4; // whole periods of each tone
    for (const int hz : kTonesHz) {
        const auto tone_at = [&](int start) {
            std::complex<double> sum;
            for (int n = start; n < start + window; ++n)
                sum += std::polar(1.0, -2 * std::numbers::pi * hz / rate * n) *
                       double{samples[static_cast<std::size_t>(n)]};
            return sum * 2.0 / static_cast<double>(window);
        };
        const auto early = tone_at(rate / 10), late = tone_at(rate / 10 + rate / 2);
        const double seconds = std::arg(late / early) / (2 * std::numbers::pi * hz);
        for (const auto &tone : {early, late})
            EXPECT_NEAR(std::abs(tone), kToneAmplitude, 0.003) << hz; // 0.13 dB
        EXPECT_NEAR(seconds / 0.5 * 1e6, 0, 1) << "ppm at " << hz;
    }
}

} // namespace tonelink::test
