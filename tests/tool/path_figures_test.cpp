// What is measured of recordings whose faults have a known size, and of recordings that are not
// whole.
#include "check/path_figures.h"

#include <cmath>
#include <functional>
#include <numbers>

#include <gtest/gtest.h>

#include "probe_sounds.h"

namespace tonelink::tool {
namespace {

using test::kProbeLevel;
using test::scaled;
using test::sound;
using test::with_noise;

constexpr float kGain = 0.1f; // of the path, -20 dB
constexpr double kNoise = -75;
constexpr double kFirstChirp = 1 + kProbeMargin; // seconds of test::played_probe()

/// Of all frequencies.
constexpr double kBandShare = (kBandHighHz - kBandLowHz) / (kAudioRate / 2.0);

double amplitude(double db) { return std::pow(10, db / 20); }

path_figures measured(sound samples, double rate = kAudioRate)
{
    return measure_path(
        {.samples = std::move(samples), .rate = rate, .played_at = {}, .played_dbfs = kProbeLevel});
}

/// With a gain in dB over the time of the probe.
sound with_gain(sound samples, const std::function<double(double)> &gain_db)
{
    for (std::size_t n = 0; n < samples.size(); ++n)
        samples[n] *= static_cast<float>(
            amplitude(gain_db(static_cast<double>(n) / kAudioRate - kFirstChirp)));
    return samples;
}

/// With each sound a second time, a frequency away to both sides, of a level beside it in dB.
sound with_doubles(sound samples, double offset_hz, double db)
{
    const double step = 2 * std::numbers::pi * offset_hz / kAudioRate;
    for (std::size_t n = 0; n < samples.size(); ++n)
        samples[n] *=
            static_cast<float>(1 + 2 * amplitude(db) * std::cos(step * static_cast<double>(n)));
    return samples;
}

bool is_tone_time(double seconds)
{
    return seconds > probe_time::kTones && seconds < tone_start(kProbeTones);
}

class PathFigures : public testing::Test {
protected:
    static void SetUpTestSuite() { probe = scaled(test::played_probe(), kGain); }
    static inline sound probe;
};

TEST_F(PathFigures, AreThoseOfTheRoom)
{
    constexpr double kLoudNoise = -60;
    sound heard = with_noise(probe, kLoudNoise, 2);
    heard.insert(heard.begin(), 4410, 0.0f);
    const path_figures figures = measure_path({.samples = heard,
                                               .rate = kAudioRate,
                                               .played_at = kAudioRate,
                                               .played_dbfs = kProbeLevel});
    EXPECT_NEAR(figures.latency_ms.value(), 1000 * (0.1 + kProbeMargin), 0.1);
    EXPECT_NEAR(figures.band_dbfs, kProbeLevel + 20 * std::log10(kGain), 0.2);
    // A sine of full scale is 3 dB below a power of 1, and the band a part of all frequencies.
    EXPECT_NEAR(figures.noise_dbfs.value(), kLoudNoise + 10 * std::log10(2 * kBandShare), 0.5);
    EXPECT_NEAR(figures.snr_db, figures.burst_snr_db.value(), 1);
    EXPECT_NEAR(figures.clock_ppm.value(), 0, 5);
    EXPECT_LT(figures.band_fall_db, 0.5);
    for (const auto *response : {&figures.wide, &figures.tones})
        for (const auto &[hz, db] : *response)
            EXPECT_NEAR(db, 20 * std::log10(kGain), hz > 20'900 ? 3 : 0.5) << hz;
}

TEST_F(PathFigures, AreAsLargeAsTheFault)
{
    struct fault {
        const char *name;
        sound heard;
        std::function<std::optional<double>(const path_figures &)> figure;
        double size, tolerance;
    };
    const auto decaying = [](double seconds) {
        if (!is_tone_time(seconds)) return 0.0;
        const double tones = (seconds - probe_time::kTones) / probe_time::kToneLength;
        return -6 / 0.034 * probe_time::kToneLength * (tones - std::floor(tones));
    };
    const auto loudest_weakened = [](double seconds) {
        const double from = level_start(kLevels - 1);
        return seconds > from && seconds < from + probe_time::kLevelLength ? -2.0 : 0.0;
    };
    const auto top_weakened = [](double seconds) {
        return is_tone_time(seconds) && seconds > tone_start(25) ? -8.0 : 0.0; // from 19.5 kHz on
    };
    const auto figure = [](auto member) {
        return [member](const path_figures &figures) -> std::optional<double> {
            return figures.*member;
        };
    };
    using figures = path_figures;
    for (const fault &one :
         {fault{"decay", with_gain(probe, decaying), figure(&figures::decay_db), 6, 0.6},
          {"change", with_gain(probe, [](double at) { return at > 5.2 ? -8.0 : 0.0; }),
           figure(&figures::change_db), -8, 0.2},
          {"late loss", with_gain(probe, [](double at) { return is_tone_time(at) ? -12.0 : 0.0; }),
           figure(&figures::late_loss_db), 12, 0.5},
          {"compression", with_gain(probe, loudest_weakened), figure(&figures::compression_db), 2,
           0.2},
          {"fall", with_gain(probe, top_weakened), figure(&figures::band_fall_db), 8, 0.2},
          {"image below", with_doubles(probe, 3900, -43), figure(&figures::image_db), -43, 1},
          {"image", with_doubles(probe, 3900, -37), figure(&figures::image_db), -37, 1},
          {"no image", with_doubles(probe, 2000, -30), figure(&figures::image_db), -100, 40},
          {"clock", test::resampled(probe, kAudioRate * 1.0002), figure(&figures::clock_ppm), 200,
           5},
          {"slow clock", test::resampled(probe, kAudioRate * 0.9998), figure(&figures::clock_ppm),
           -200, 5}}) {
        SCOPED_TRACE(one.name);
        const auto size = one.figure(measured(with_noise(one.heard, kNoise)));
        ASSERT_TRUE(size);
        EXPECT_NEAR(*size, one.size, one.tolerance);
    }
    // Both doubles lie below the band, as what would lie above half the rate comes down again.
    const sound leaking = with_doubles(probe, 12'000, -46);
    EXPECT_NEAR(measured(with_noise(leaking, -100)).leak_db.value(), -43, 1);
    EXPECT_FALSE(measured(with_noise(leaking, kNoise)).leak_db) << "below the noise";
    const path_figures ducked = measured(with_gain(with_noise(probe, -60), [](double seconds) {
        return is_tone_time(seconds) ? -20.0 : 0.0;
    }));
    EXPECT_NEAR(ducked.ducking_db.value(), 20, 2);
}

/// What is left of a recording still says what it can.
TEST_F(PathFigures, AreThereWhereTheRecordingIsNotWhole)
{
    sound heard = probe;
    heard.resize(22 * kAudioRate);
    heard = with_noise(heard, kNoise);
    const auto part = [&](double from, double to) {
        const auto at = [&](double seconds) {
            return heard.begin() +
                   static_cast<std::ptrdiff_t>((kFirstChirp + seconds) * kAudioRate);
        };
        return measured({at(from), at(to)});
    };
    for (const auto &[from, to] :
         {std::pair{0.1, 5.8}, {0.4, 5.8}, {-0.5, 5.0}, {-0.02, 5.0}, {0.4, 20.0}}) {
        const path_figures figures = part(from, to);
        ASSERT_TRUE(figures.heard) << from;
        EXPECT_FALSE(figures.change_db || figures.clock_ppm) << "of one chirp alone";
        EXPECT_NEAR(figures.band_dbfs, kProbeLevel - 20, 0.3) << from;
        EXPECT_LT(figures.band_fall_db, 0.5) << from;
        EXPECT_NEAR(figures.wide[10].db, -20, 0.5) << from;
        EXPECT_NEAR(figures.noise_dbfs.value(), kNoise + 10 * std::log10(2 * kBandShare), 1);
        EXPECT_EQ(figures.bursts_heard, 2) << from;
    }
    EXPECT_FALSE(part(0.3, 5.0).heard) << "no chirp at all";
    EXPECT_FALSE(part(-1, -0.1).heard);
    for (const std::size_t samples : {0u, 1u, 500u}) {
        const path_figures figures = measured(sound(samples));
        EXPECT_FALSE(figures.heard) << samples;
        EXPECT_NEAR(figures.seconds, static_cast<double>(samples) / kAudioRate, 1e-9);
    }
    EXPECT_FALSE(measured(heard, 48000).heard) << "told a wrong rate";
}

TEST_F(PathFigures, CountOnlyWhatStandsAtFullScale)
{
    sound heard = with_noise(probe, kNoise);
    for (const auto &[at, value] :
         {std::pair{100, 1.0f}, {200, -1.0f}, {300, 32767 / 32768.0f}, {400, 32766 / 32768.0f}})
        heard[static_cast<std::size_t>(at)] = value;
    EXPECT_EQ(measured(heard).clipped_samples, 3);
}

} // namespace
} // namespace tonelink::tool
