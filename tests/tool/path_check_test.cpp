// What a check says of paths with one fault each, made of samples: it names that fault and no
// other.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>

#include <gtest/gtest.h>

#include "check/check_picture.h"
#include "check/path_verdict.h"
#include "probe_sounds.h"

namespace tonelink::tool {
namespace {

using test::kProbeLevel;
using test::played_probe;
using test::scaled;
using test::sound;
using test::with_noise;

/// Through a steep low-pass.
sound low_passed(const sound &samples, double hz)
{
    constexpr int kReach = 200;
    const double cut = 2 * hz / kAudioRate;
    std::vector<double> taps;
    for (int k = -kReach; k <= kReach; ++k) {
        const double x = std::numbers::pi * cut * k;
        const double window = 0.5 + 0.5 * std::cos(std::numbers::pi * k / (kReach + 1.0));
        taps.push_back(cut * window * (k == 0 ? 1 : std::sin(x) / x));
    }
    sound filtered(samples.size());
    for (std::size_t n = 0; n < samples.size(); ++n)
        for (std::size_t k = 0; k < taps.size() && k <= n; ++k)
            filtered[n] += static_cast<float>(taps[k]) * samples[n - k];
    return filtered;
}

/// Another rate by straight lines between the samples.
sound drawn_by_lines(const sound &samples, double from, double to)
{
    sound drawn;
    for (double at = 0; at + 1 < static_cast<double>(samples.size()); at += from / to) {
        const auto i = static_cast<std::size_t>(at);
        const auto share = static_cast<float>(at - std::floor(at));
        drawn.push_back(samples[i] * (1 - share) + samples[i + 1] * share);
    }
    return drawn;
}

sound cut_off(sound samples, float limit)
{
    for (float &sample : samples) sample = std::clamp(sample, -limit, limit);
    return samples;
}

/// What an adaptive filter leaves that learns the path from what is played.
sound cancelled(const sound &heard, const sound &played)
{
    constexpr std::size_t kTaps = 64;
    constexpr float kStep = 0.005f;
    std::vector<float> taps(kTaps);
    sound left(heard.size());
    for (std::size_t n = kTaps; n < heard.size(); ++n) {
        float estimate = 0, power = 1e-6f;
        for (std::size_t k = 0; k < kTaps; ++k) {
            estimate += taps[k] * played[n - k];
            power += played[n - k] * played[n - k];
        }
        left[n] = heard[n] - estimate;
        for (std::size_t k = 0; k < kTaps; ++k) taps[k] += kStep * left[n] / power * played[n - k];
    }
    return left;
}

/// What a suppressor leaves that turns the microphone down while something is played.
sound gated(sound heard, const sound &played)
{
    float gain = 1, level = 0;
    for (std::size_t n = 0; n < heard.size(); ++n) {
        level = std::max(std::abs(played[n]), level * 0.9995f);
        const float wanted = level > 0.01f ? 0.03f : 1.0f;
        gain += (wanted - gain) * 0.001f; // some 20 ms
        heard[n] *= gain;
    }
    return heard;
}

/// What overdriven loudspeakers add: the square of what they play.
sound distorted(sound samples)
{
    for (float &sample : samples) sample += 0.4f * sample * sample;
    return samples;
}

/// With an echo that takes out the middle of the band.
sound with_echo(const sound &samples)
{
    sound both = samples;
    constexpr std::size_t kDelay = 30; // 0.68 ms: a notch each 1470 Hz, at 19.1 kHz too
    for (std::size_t n = kDelay; n < samples.size(); ++n) both[n] += 0.9f * samples[n - kDelay];
    return both;
}

sound with_gap(sound samples, double seconds)
{
    const auto from = samples.begin() + 4 * kAudioRate;
    samples.erase(from, from + static_cast<std::ptrdiff_t>(seconds * kAudioRate));
    return samples;
}

/// As a device hears it: in 16 bits.
sound in_16_bits(sound samples)
{
    for (float &sample : samples)
        sample = std::clamp(std::round(sample * 32768.0f), -32768.0f, 32767.0f) / 32768.0f;
    return samples;
}

/// The state and the reasons, in words: "limited clipped".
std::string judged(const sound &samples, double rate = kAudioRate)
{
    const path_figures figures = measure_path({.samples = in_16_bits(samples),
                                               .rate = rate,
                                               .played_at = {},
                                               .played_dbfs = kProbeLevel});
    const path_verdict verdict =
        judge_path(figures, {.output_rate = kAudioRate, .input_rate = rate});
    std::string words = word_for(verdict.state);
    for (const path_reason reason : verdict.reasons) {
        words += ' ' + word_for(reason);
        EXPECT_FALSE(advice_on(reason, figures, {}).empty());
    }
    return words;
}

constexpr double kRoomNoise = -75; // dBFS

class PathCheck : public testing::Test {
protected:
    const sound probe = played_probe();
    const sound room = with_noise(scaled(probe, 0.1f), kRoomNoise);
};

TEST_F(PathCheck, FindsNothingWrongWhereNothingIs)
{
    EXPECT_EQ(judged(probe), "good");
    EXPECT_EQ(judged(room), "good");
    EXPECT_EQ(judged(test::resampled(room, 48000), 48000), "good");
    EXPECT_EQ(judged(test::resampled(room, 96000), 96000), "good");
}

TEST_F(PathCheck, NamesALowPass)
{
    EXPECT_NEAR(
        measure_path({.samples = low_passed(room, 17000), .rate = kAudioRate, .played_at = {}})
            .edge_hz.value_or(0),
        17000, 500);
    for (const double hz : {8000, 17000}) {
        EXPECT_EQ(judged(low_passed(probe, hz)), "bad band_cut") << hz;
        EXPECT_EQ(judged(with_noise(low_passed(scaled(probe, 0.1f), hz), kRoomNoise)),
                  "bad band_cut")
            << hz;
    }
}

TEST_F(PathCheck, NamesAResamplerThatDrawsLines)
{
    for (const sound &heard : {probe, room}) {
        EXPECT_EQ(judged(drawn_by_lines(test::resampled(heard, 48000), 48000, kAudioRate)),
                  "limited resampled");
        EXPECT_EQ(judged(drawn_by_lines(heard, kAudioRate, 48000), 48000), "limited resampled");
    }
}

TEST_F(PathCheck, NamesClippingWhereverItIs)
{
    EXPECT_EQ(judged(scaled(probe, 4)), "limited clipped") << "in the microphone";
    EXPECT_EQ(judged(with_noise(scaled(cut_off(probe, 0.2f), 0.1f), kRoomNoise)), "limited clipped")
        << "before the loudspeaker";
}

TEST_F(PathCheck, NamesNoiseAndWeakness)
{
    EXPECT_EQ(judged(with_noise(scaled(probe, 0.1f), -30)), "limited noise");
    EXPECT_EQ(judged(with_noise(scaled(probe, 0.1f), -14)), "bad noise");
    EXPECT_EQ(judged(with_noise(scaled(probe, 0.0005f), kRoomNoise)), "limited too_weak");
    EXPECT_EQ(judged(with_noise(scaled(probe, 0.0001f), kRoomNoise)), "limited too_weak");
    EXPECT_EQ(judged(with_noise(scaled(probe, 0.00001f), kRoomNoise)), "bad nothing_heard");
}

TEST_F(PathCheck, NamesWhatTakesTheSoundAway)
{
    EXPECT_EQ(judged(cancelled(room, probe)), "limited echo_cancelled");
    EXPECT_EQ(judged(gated(room, probe)), "limited echo_cancelled");
}

TEST_F(PathCheck, TellsASilentMicrophoneFromADeafOne)
{
    EXPECT_EQ(judged(sound(probe.size())), "bad silent");
    EXPECT_EQ(judged(with_noise(sound(probe.size()), kRoomNoise)), "bad nothing_heard");
    const path_verdict verdict = judge_path({}, {.cancels_echo = true});
    EXPECT_EQ(verdict.reasons, std::vector{path_reason::echo_cancelled}) << "of all there is";
}

TEST_F(PathCheck, NamesTheRest)
{
    EXPECT_EQ(judged(distorted(probe)), "limited audible");
    EXPECT_EQ(judged(with_noise(with_echo(scaled(probe, 0.3f)), kRoomNoise)), "limited uneven");
    EXPECT_EQ(judged(test::resampled(room, 44122)), "limited clock");
    for (const double seconds : {0.02, 0.05, 0.3})
        EXPECT_EQ(judged(with_gap(room, seconds)), "limited samples_lost") << seconds;
    EXPECT_EQ(judged(test::resampled(room, 32000), 32000), "bad rate_too_low");
}

// A recording says of itself at which rate it was made.
TEST_F(PathCheck, TakesAnyRate)
{
    sound much(48000);
    for (std::size_t i = 0; i < much.size(); ++i) much[i] = i % 2 == 0 ? 0.1f : -0.2f;
    for (const double rate : {1, 12, 173, 4000, 7999, 8000, 8001, 384000}) {
        const path_figures figures = measure_path({.samples = much, .rate = rate, .played_at = {}});
        EXPECT_NEAR(figures.seconds, 48000 / rate, 1e-6);
        EXPECT_NEAR(figures.level_dbfs, 10 * std::log10(0.05), 0.01);
    }
    EXPECT_EQ(judged(much, 173), "bad rate_too_low");
}

/// Whether the picture has something blue at a place: more so than the band's shade.
bool has_curve(const canvas &page, double x, double y)
{
    cairo_surface_t *surface = cairo_get_target(page.context());
    cairo_surface_flush(surface);
    const unsigned char *row = cairo_image_surface_get_data(surface) +
                               static_cast<int>(y) * cairo_image_surface_get_stride(surface);
    const uint32_t pixel = reinterpret_cast<const uint32_t *>(row)[static_cast<int>(x)];
    return (pixel >> 16 & 0xFF) < 100 && (pixel & 0xFF) > 150;
}

TEST_F(PathCheck, DrawsTheResponseWhereItIs)
{
    check_result done;
    done.figures =
        measure_path({.samples = low_passed(probe, 17000), .rate = kAudioRate, .played_at = {}});
    const canvas page = draw_check(done);
    const auto &wide = kWidePanel;
    EXPECT_TRUE(has_curve(page, wide.x(10'000), wide.y(0)));
    EXPECT_FALSE(has_curve(page, wide.x(19'000), wide.y(0)));
    const auto &tones = kTonePanel;
    EXPECT_FALSE(has_curve(page, tones.x(19'000), tones.y(0)));
    EXPECT_TRUE(has_curve(page, tones.x(19'000), tones.bottom() - 2)) << "beyond is at the rim";
}

} // namespace
} // namespace tonelink::tool
