#include "modem/band_shift.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>

#include "modem/plain/band_shift.h"
#include "support/failing_memory.h"
#include "support/signals.h"

namespace tonelink {

using test::hash16;
using test::noise;
using samples = std::vector<int16_t>;
using blocks = std::vector<int32_t>;

namespace {

/// A shifter that is open as long as it lives.
struct open_shifter : BandShiftInfo {
    explicit open_shifter(int32_t hertz) { openBandShift(this, hertz); }
    open_shifter(const open_shifter &) = delete;
    open_shifter &operator=(const open_shifter &) = delete;
    ~open_shifter() { closeBandShift(this); }
};

using shift_function = void (*)(int16_t *, int32_t, BandShiftInfo &);
void shift_fast(int16_t *data, int32_t count, BandShiftInfo &info)
{
    makeBandShift(data, count, &info);
}

samples shifted(samples signal, const blocks &cuts, BandShiftInfo &info,
                shift_function shift = shift_fast)
{
    int16_t *at = signal.data();
    for (const int32_t count : cuts) {
        shift(at, count, info);
        at += count;
    }
    EXPECT_EQ(at, signal.data() + signal.size());
    return signal;
}

samples whole(const samples &signal, BandShiftInfo &info, shift_function shift = shift_fast)
{
    return shifted(signal, {static_cast<int32_t>(signal.size())}, info, shift);
}

/// Everything that a record holds.
samples contents(const BandShiftInfo &info)
{
    samples all = {static_cast<int16_t>(info.phase), static_cast<int16_t>(info.half)};
    all.insert(all.end(), info.delay.data, info.delay.data + info.delay.length);
    all.insert(all.end(), info.history.data, info.history.data + info.history.length);
    return all;
}

samples tone(double hertz, std::size_t count)
{
    samples signal;
    for (std::size_t i = 0; i < count; ++i)
        signal.push_back(static_cast<int16_t>(
            20000 * std::cos(2 * std::numbers::pi * hertz * static_cast<double>(i) / 44100)));
    return signal;
}

/// Amplitude of one frequency in the part of a signal after its start-up, under a Hann window.
double amplitude(const samples &signal, double hertz)
{
    std::complex<double> sum = 0;
    double weights = 0;
    for (std::size_t i = 500; i < signal.size(); ++i) {
        const double turn = 2 * std::numbers::pi * static_cast<double>(i - 500) /
                            static_cast<double>(signal.size() - 500);
        const double weight = 1 - std::cos(turn);
        sum += weight * signal[i] *
               std::polar(1.0, 2 * std::numbers::pi * hertz * static_cast<double>(i) / 44100);
        weights += weight;
    }
    return 2 * std::abs(sum) / weights;
}

} // namespace

TEST(BandShift, MeetsTheIndependentModel)
{
    const struct {
        int32_t freq;
        uint32_t seed;
        int32_t div;
        const char *known;
        int32_t phase;
        int32_t half;
    } cases[] = {{-1845, 501, 1, "5fb18be35988fbcc", 1968, 1},
                 {1845, 502, 3, "f67a882329f1e9de", 1968, 0}};
    for (const auto &c : cases) {
        open_shifter info{c.freq};
        EXPECT_EQ(hash16(whole(noise(5000, c.seed, 1, c.div), info)), c.known) << c.freq;
        EXPECT_EQ(info.phase, c.phase);
        EXPECT_EQ(info.half, c.half);
    }
}

TEST(BandShift, CutsDoNotShow)
{
    const auto signal = noise(4000, /*seed=*/1);
    for (const auto &cuts : {blocks{1, 3999}, blocks{64, 65, 3871}, blocks{0, 1280, 2720},
                             blocks{128, 511, 512, 513, 2336}, blocks(4000, 1)}) {
        open_shifter in_parts{-1845}, in_one{-1845};
        EXPECT_EQ(shifted(signal, cuts, in_parts), whole(signal, in_one));
        EXPECT_EQ(contents(in_parts), contents(in_one));
    }
}

TEST(BandShift, FastFormEqualsThePlainOne)
{
    const auto full_scale = [](samples signal) { // sums are largest, and wrap
        for (auto &x : signal) x = x < 0 ? int16_t{-32768} : int16_t{32767};
        return signal;
    };
    samples worst; // signs that follow the taps, so that the sum leaves int32
    for (int i = 0; i < 3000; ++i) worst.push_back(i % 129 < 64 ? int16_t{-32768} : int16_t{32767});
    for (const int32_t freq : {-1845, 1845, 0, 1, 22050, -44100, 2000000000, INT32_MIN}) {
        for (const auto &signal :
             {noise(3000, 2), full_scale(noise(3000, 3)), worst, samples(700, -32768)}) {
            open_shifter fast{freq}, plain_info{freq};
            EXPECT_EQ(whole(signal, fast), whole(signal, plain_info, plain::shift_band)) << freq;
            EXPECT_EQ(contents(fast), contents(plain_info)) << freq;
        }
    }
}

TEST(BandShift, MovesOneSidebandByItsFrequency)
{
    const double shift = 342 * 44100.0 / 8192;
    const struct {
        int32_t freq;
        double from;
        double to;
    } cases[] = {{-1845, 19000, 19000 - shift}, {1845, 1000, 1000 + shift}};
    for (const auto &c : cases) {
        open_shifter info{c.freq};
        const auto output = whole(tone(c.from, 20000), info);
        EXPECT_NEAR(amplitude(output, c.to), 20000, 600) << c.freq;
        EXPECT_LT(amplitude(output, 2 * c.from - c.to), 600)
            << c.freq; // the other sideband: 30 dB down
    }
}

TEST(BandShift, OpensSilentAtPhaseZero)
{
    const struct {
        int32_t freq;
        int32_t step;
        int32_t half;
    } cases[] = {{-1845, 342, 0}, {1845, 342, 1}, {0, 0, 0}, {44100, 8192, 1}};
    for (const auto &c : cases) {
        open_shifter info{c.freq};
        EXPECT_EQ(info.freq, c.freq);
        EXPECT_EQ(info.step, c.step) << c.freq;
        EXPECT_EQ(info.half, c.half) << c.freq;
        EXPECT_EQ(info.ntaps, 129);
        samples silent(2 + 64 + 129, 0);
        silent[1] = static_cast<int16_t>(c.half);
        EXPECT_EQ(contents(info), silent) << c.freq;
    }
    open_shifter still{0}; // turned by half a turn, once and for all
    const auto signal = noise(1000, /*seed=*/4);
    const auto output = whole(signal, still);
    for (std::size_t i = 0; i < signal.size(); ++i) {
        const int32_t delayed = i < 64 ? 0 : signal[i - 64];
        EXPECT_EQ(output[i], (-32767 * delayed) >> 15) << i;
    }
}

TEST(BandShift, LeavesAClosedRecordAndNoSamplesAlone)
{
    auto signal = noise(100, /*seed=*/5);
    const auto before = signal;
    BandShiftInfo never_opened{};
    makeBandShift(signal.data(), 100, &never_opened);
    open_shifter info{-1845};
    const auto opened = contents(info);
    makeBandShift(signal.data(), 0, &info);
    makeBandShift(signal.data(), -5, &info);
    EXPECT_EQ(contents(info), opened);
    closeBandShift(&info);
    makeBandShift(signal.data(), 100, &info);
    EXPECT_EQ(signal, before);
    EXPECT_EQ(info.history.length, 0);
    EXPECT_EQ(info.delay.length, 0);
}

TEST(BandShift, WithoutMemoryStaysClosed)
{
    for (std::size_t n = 0;; ++n) {
        const test::failing_allocation failure{n};
        open_shifter info{-1845};
        if (!failure.happened()) break;
        EXPECT_FALSE(is_open(info)) << n;
        EXPECT_EQ(info.history.data, nullptr) << n;
        EXPECT_EQ(info.delay.data, nullptr) << n;
    }
}

} // namespace tonelink
