#include <gtest/gtest.h>

#include <complex>

#include "receiver/resampler.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

using std::numbers::pi;

constexpr std::array kRates = {42000, 43210, 44099, 48000, 88200, 96000, 192000, 384000};

constexpr std::size_t kStart = 200; // outputs in which a filter begins
constexpr std::size_t kLength = 2048;

/// A sine's output, without its beginning.
sound resampled(int32_t rate, double hz)
{
    std::vector<float> table(resampler::table_size(rate));
    const auto converter = std::make_unique<resampler>(rate, table);
    const auto frames = static_cast<std::size_t>(rate) * (kStart + kLength) / 44100 + 600;
    sound output(kStart + kLength);
    EXPECT_EQ(converter->run(sine(frames, rate, hz), output).made, output.size());
    output.erase(output.begin(), output.begin() + kStart);
    return output;
}

/// The part of a frequency in a resampled sine, in amplitude and by how much it is ahead of the
/// sine; under a Blackman-Harris window, which shows nothing of others from 100 Hz away.
std::complex<double> part_of(const sound &output, double hz)
{
    std::complex<double> sum = 0;
    double weights = 0;
    for (std::size_t n = 0; n < output.size(); ++n) {
        const double turn = 2 * pi * static_cast<double>(n) / static_cast<double>(output.size());
        const double window = 0.35875 - 0.48829 * std::cos(turn) + 0.14128 * std::cos(2 * turn) -
                              0.01168 * std::cos(3 * turn);
        const double angle = 2 * pi * hz / 44100 * static_cast<double>(n + kStart);
        sum += window * double{output[n]} * std::polar(1.0, pi / 2 - angle);
        weights += window / 2;
    }
    return sum / weights;
}

} // namespace

TEST(Resampler, KeepsLevelAndTimeUpTo20200Hz)
{
    for (const int32_t rate : kRates) {
        for (const double hz : {300.0, 5000.0, 18072.7, 19106.0, 20140.0, 20200.0}) {
            const auto part = part_of(resampled(rate, hz), hz);
            EXPECT_NEAR(20 * std::log10(std::abs(part)), 0, 0.1) << rate << ' ' << hz;
            EXPECT_NEAR(std::arg(part) / (2 * pi * hz / 44100), 0, 0.01) << rate << ' ' << hz;
        }
    }
}

TEST(Resampler, FoldsNothingIntoTheBand)
{
    std::mt19937 random{11};
    for (const int32_t rate : kRates) {
        for (int i = 0; i < 60; ++i) {
            // Any frequency with an image, of any order, at one in the band.
            const double in_band = std::uniform_real_distribution{kBandLowHz, kBandHighHz}(random);
            const int order = std::uniform_int_distribution{1, 40}(random);
            const double image = 44100.0 * order + (i % 2 == 0 ? in_band : -in_band);
            const double hz = std::abs(std::remainder(image, rate));
            if (std::abs(hz - in_band) < 100) continue; // not apart from itself
            EXPECT_LT(20 * std::log10(std::abs(part_of(resampled(rate, hz), in_band))), -70)
                << rate << ": " << hz << " as " << in_band;
        }
    }
}

/// Before a stream there is silence, whatever came before a restart.
TEST(Resampler, AStreamBeginsInSilence)
{
    for (const int32_t rate : kRates) {
        std::vector<float> table(resampler::table_size(rate));
        const auto converter = std::make_unique<resampler>(rate, table);
        sound output(kLength);
        const sound silence(20 * kLength), loud(20 * kLength, 1);
        for (const bool is_again : {false, true}) {
            EXPECT_EQ(converter->run(silence, output).made, output.size());
            EXPECT_EQ(output, sound(kLength)) << rate << is_again;
            converter->run(loud, output);
            converter->restart();
        }
    }
}

} // namespace tonelink::test
