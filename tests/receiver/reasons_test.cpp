// The reasons, and the levels behind them: each from sound made for it, and from sound close to its
// border on both sides, at three rates, quiet and loud.
#include <gtest/gtest.h>

#include <utility>

#include "modem/known_bursts.h"
#include "support/open_receiver.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

sound at_level(sound samples, double db)
{
    const auto gain = static_cast<float>(amplitude_of(db - level_of(samples)));
    for (float &sample : samples) sample *= gain;
    return samples;
}

// What makes two seconds of sound or some more at a rate, by a number of its own.

sound silence(double rate, double) { return sound(frames_in(2, rate)); }

/// Noise that falls by 10 dB a decade, nearly: low-passes an octave apart.
sound pink(double rate, double)
{
    sound sum = silence(rate, 0);
    unsigned seed = 20;
    for (double hz = 40; hz < rate / 2; hz *= 2) {
        const auto keep = static_cast<float>(std::exp(-2 * std::numbers::pi * hz / rate));
        float low = 0;
        const sound white = band_noise(sum.size(), rate, -40, ++seed);
        for (std::size_t n = 0; n < sum.size(); ++n)
            sum[n] += low = keep * low + std::sqrt(1 - keep * keep) * white[n];
    }
    return sum;
}

/// Syllables: pulses at 120 Hz with a spectrum that falls, and sibilants that rise.
sound speech(double rate, double)
{
    sound samples = band_noise(frames_in(2, rate), rate, -60, 6);
    float voice = 0, phase = 0, last = 0;
    for (std::size_t n = 0; n < samples.size(); ++n) {
        const double syllable = std::fmod(static_cast<double>(n) / rate * 4, 1.0);
        phase += static_cast<float>(120 / rate);
        if (phase >= 1) voice += 0.5f, phase -= 1;
        voice *= static_cast<float>(std::exp(-3000 / rate));
        const float hiss = samples[n] - std::exchange(last, samples[n]);
        samples[n] = syllable < 0.6 ? voice : syllable < 0.8 ? 3 * hiss : 0.02f * hiss;
    }
    return samples;
}

sound pink_below(double rate, double hz) { return cut_above(pink(rate, 0), rate, hz); }
sound speech_below(double rate, double hz) { return cut_above(speech(rate, 0), rate, hz); }
sound white_below(double rate, double hz)
{
    return cut_above(band_noise(frames_in(2, rate), rate, 0, 3), rate, hz);
}

/// White noise that falls at 16 kHz, so many dB deep.
sound falling_by(double rate, double db)
{
    sound samples = white_below(rate, 16000);
    add(samples, band_noise(samples.size(), rate, 0, 4), 0, -db);
    return samples;
}

/// A tone with hiss around it.
sound tone(double rate, double hz)
{
    sound samples = sine(frames_in(2, rate), rate, hz);
    add(samples, band_noise(samples.size(), rate, -50, 7), 0);
    return samples;
}

/// Frames at full scale, `run` of them in each thousand of noise.
sound cut_off(double rate, double run)
{
    sound samples = at_level(band_noise(frames_in(2, rate), rate, -40, 9), -20);
    for (std::size_t n = 0; n + 1000 < samples.size(); n += 1000)
        std::fill_n(&samples[n], static_cast<int>(run), 1.0f);
    return samples;
}

/// Three bursts in noise, so much louder than it in their band.
sound bursts(double rate, double snr_db, double ppm)
{
    const sound burst = burst_at(kPair48.bits, rate, ppm);
    sound samples = band_noise(frames_in(3.5, rate), rate, level_of(burst) - snr_db, 8);
    for (const double seconds : {0.2, 1.3, 2.4}) add(samples, burst, frames_in(seconds, rate));
    return samples;
}

sound bursts_in_noise(double rate, double snr_db) { return bursts(rate, snr_db, 0); }
sound bursts_by_clock(double rate, double ppm) { return bursts(rate, 12, ppm); }

sound bursts_in_overdriven_tone(double rate, double hz)
{
    sound samples = sine(frames_in(3.5, rate), rate, hz, 20);
    add(samples, bursts(rate, 20, 0), 0, -12);
    return samples;
}

/// A figure of the report, as it is to be.
struct expected_figure {
    float tonelink_reception::*figure = nullptr;
    double value = 0, tolerance = 0;
};

expected_figure edge(double hz) { return {&tonelink_reception::band_edge_hz, hz + 300, 400}; }
expected_figure clock(double ppm) { return {&tonelink_reception::unread_ppm, ppm, 20}; }
expected_figure missing(double db) { return {&tonelink_reception::missing_db, db, 1.5}; }

const struct {
    const char *name, *reason;
    std::vector<double> levels; ///< to which the sound is brought; 0: as it is
    sound (*make)(double rate, double by);
    double by;
    expected_figure figure = {};
} kCases[] = {
    {"nothing", "silent", {0}, silence, 0},
    {"rustle", "silent", {-88}, pink, 0},
    {"quiet room", "no_burst", {-80}, pink, 0},
    {"pink noise", "no_burst", {-12, -50}, pink, 0},
    {"speech", "no_burst", {-25, -50}, speech, 0},
    {"tone in hiss", "no_burst", {-12, -50}, tone, 12000},
    {"cut above the band", "no_burst", {-12, -50}, pink_below, 19500, edge(19500)},
    {"cut below the band", "band_cut", {-12, -50}, white_below, 17500, edge(17500)},
    {"cut in the band's lower part", "band_cut", {-12}, pink_below, 17900, edge(17900)},
    {"cut in the band's middle", "no_burst", {-12}, pink_below, 18800, edge(18800)},
    {"fall that is a filter's", "band_cut", {-12}, falling_by, 23},
    {"fall of a sound itself", "no_burst", {-12}, falling_by, 14},
    {"lossy codec", "band_cut", {-12, -50}, pink_below, 16000, edge(16000)},
    {"wide-band call", "band_cut", {-12, -50}, pink_below, 8000, edge(8000)},
    {"telephone", "band_cut", {-25, -50}, speech_below, 3400, edge(3400)},
    {"overdriven tone", "clipped", {1, 12}, tone, 440},
    {"tone at its limit", "no_burst", {-1}, tone, 440},
    {"8 of 1000 cut off", "clipped", {0}, cut_off, 8},
    {"3 of 1000 cut off", "no_burst", {0}, cut_off, 3},
    {"no room for bursts", "clipped", {0}, bursts_in_overdriven_tone, 440},
    {"bursts just read", "heard", {-20, -50}, bursts_in_noise, 0.5},
    {"bursts too weak", "too_weak", {-20, -50}, bursts_in_noise, -4, missing(3)},
    {"bursts not seen", "no_burst", {-20, -50}, bursts_in_noise, -16},
    {"clock off, but read", "heard", {-12, -50}, bursts_by_clock, 350},
    {"clock fast by 500", "clock", {-12, -50}, bursts_by_clock, 500, clock(500)},
    {"clock slow by 700", "clock", {-12, -50}, bursts_by_clock, -700, clock(-700)},
    {"clock fast by 900", "clock", {-12, -50}, bursts_by_clock, 900, clock(900)},
};

class Reasons : public testing::TestWithParam<int32_t> {};

} // namespace

TEST_P(Reasons, AreThoseOfTheSound)
{
    const int32_t rate = GetParam();
    for (const auto &[name, reason, levels, make, by, figure] : kCases) {
        const sound made = make(rate, by);
        for (const double db : levels) {
            SCOPED_TRACE(std::string{name} + ", " + std::to_string(db) + " dB");
            open_receiver receiver{rate};
            receiver.push(to_16_bits(db == 0 ? made : at_level(made, db)));
            tonelink_receiver_flush(receiver);
            EXPECT_EQ(receiver.reasons(), std::string{reason} + ' ' + reason);
            const tonelink_reception now = receiver.report();
            EXPECT_TRUE(make != bursts_by_clock || now.heard + now.unread == 3) << now.unread;
            if (figure.figure == nullptr) continue;
            EXPECT_NEAR(now.*figure.figure, figure.value, figure.tolerance);
        }
    }
}

TEST_P(Reasons, SamplesLost)
{
    const int32_t rate = GetParam();
    const auto reasons_without = [rate](const sound &samples, double from, double seconds,
                                        double every) {
        open_receiver receiver{rate};
        const std::size_t lost = frames_in(seconds, rate), step = frames_in(every, rate);
        std::size_t at = frames_in(from, rate);
        receiver.push(std::span{samples}.first(at));
        for (; at + step <= samples.size(); at += step) {
            tonelink_receiver_lost(receiver, lost);
            receiver.push(std::span{samples}.subspan(at + lost, step - lost));
        }
        tonelink_receiver_flush(receiver);
        return receiver.reasons();
    };
    const sound noise = band_noise(frames_in(3, rate), rate, -50, 9);
    const std::string lost = "samples_lost samples_lost";
    EXPECT_EQ(reasons_without(noise, 0, 0.004, 0.1), "no_burst no_burst");
    EXPECT_EQ(reasons_without(noise, 0, 0.007, 0.1), lost);
    EXPECT_EQ(reasons_without(noise, 0, 1, 1), lost);
    // A burst is read while a quarter of it is there.
    const sound three = bursts(rate, 20, 0);
    EXPECT_EQ(reasons_without(three, 0.2, 0.35, 1.1), "heard heard");
    EXPECT_EQ(reasons_without(three, 0.2, 0.46, 1.1), lost);
}

TEST_P(Reasons, TheRecentOneIsOfFiveSeconds)
{
    const int32_t rate = GetParam();
    open_receiver receiver{rate};
    EXPECT_EQ(receiver.reasons(), "silent silent");
    receiver.push(sound(frames_in(0.05, rate)));
    EXPECT_EQ(receiver.reasons(), "no_burst no_burst"); // too early to say
    receiver.push(bursts(rate, 20, 0));
    EXPECT_EQ(receiver.reasons(), "heard heard");
    receiver.push(band_noise(frames_in(5, rate), rate, -60, 1));
    EXPECT_EQ(receiver.reasons(), "heard no_burst");
    receiver.push(sound(frames_in(5, rate)));
    EXPECT_EQ(receiver.reasons(), "heard silent");
}

TEST_P(Reasons, LevelsAreThoseOfTheSound)
{
    const int32_t rate = GetParam();
    for (const auto &[hz, is_in_band] :
         {std::pair{1500.0, false}, {17500.0, false}, {19500.0, true}, {21500.0, false}}) {
        SCOPED_TRACE(hz);
        open_receiver receiver{rate};
        receiver.push(sine(frames_in(0.4, rate), rate, 5500));
        receiver.push(sine(frames_in(1.2, rate), rate, hz, -12)); // the last second counts
        tonelink_receiver_flush(receiver); // its silence is none of the sound
        const tonelink_reception now = receiver.report();
        const double level = hz > 20200 && rate != 44100 ? -15 : -12; // the filter's edge
        EXPECT_NEAR(now.level_dbfs, level, level < -12 ? 3 : 0.1);
        EXPECT_NEAR(now.peak_dbfs, now.level_dbfs, 0.1);
        EXPECT_NEAR(now.band_dbfs, is_in_band ? -12 : -115, is_in_band ? 0.1 : 35);
        for (int band = 0; band < TONELINK_BANDS; ++band) {
            const bool is_there = band == static_cast<int>(hz / 1000);
            EXPECT_NEAR(now.spectrum_dbfs[band], is_there ? now.level_dbfs : -112,
                        is_there ? 0.2 : 38)
                << band;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AtRates, Reasons, testing::Values(44100, 48000, 96000));

} // namespace tonelink::test
