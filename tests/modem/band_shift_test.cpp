#include "modem/band_shift.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/failing_memory.h"
#include "support/modem_guard.h"

namespace tonelink {

using test::hash16;
using test::noise;
using test::open_shifter;

TEST(BandShift, MeetsTheIndependentModel)
{
    const struct {
        int32_t freq, step, half, half_after, div;
        uint32_t seed;
        const char *known;
    } cases[] = {{-1845, 342, 0, 1, 1, 501, "5fb18be35988fbcc"},
                 {1845, 342, 1, 0, 3, 502, "f67a882329f1e9de"},
                 {0, 0, 0, 0, 1, 0, ""},
                 {44100, 8192, 1, 1, 1, 0, ""}};
    for (const auto &c : cases) {
        open_shifter info{c.freq};
        EXPECT_TRUE(info.freq == c.freq && info.step == c.step && info.ntaps == 129) << c.freq;
        std::vector<int32_t> silent(2 + 64 + 129, 0);
        silent[1] = c.half;
        EXPECT_EQ(info.memory(), silent) << c.freq;
        if (*c.known == 0) continue;
        auto signal = noise(5000, c.seed, 1, c.div);
        makeBandShift(signal.data(), 1, &info);
        makeBandShift(&signal[1], 4999, &info);
        EXPECT_EQ(hash16(signal), c.known) << c.freq;
        EXPECT_TRUE(info.phase == 1968 && info.half == c.half_after);
    }
}

TEST(BandShift, ShiftsByACallersOwnCoefficientsAndDelayLine)
{
    std::vector<int16_t> own(129, 0);
    own[128] = 16384; // the quadrature is half the sample at hand
    open_shifter info{0};
    info.coef = own.data();
    info.phase = 2048; // only the quadrature is heard
    info.half = 1;
    const auto signal = noise(1000, /*seed=*/5);
    auto shifted = signal;
    makeBandShift(shifted.data(), 1000, &info);
    for (std::size_t i = 0; i < signal.size(); ++i)
        ASSERT_EQ(shifted[i], -(((signal[i] >> 1) * 32767) >> 15)) << i;

    open_shifter delayed{0}; // only the delayed sample is heard
    std::fill_n(delayed.delay.data, 64, int16_t{1000});
    shifted = signal;
    makeBandShift(shifted.data(), 1000, &delayed);
    for (std::size_t i = 0; i < signal.size(); ++i)
        ASSERT_EQ(shifted[i], ((i < 64 ? 1000 : signal[i - 64]) * -32767) >> 15) << i;
    EXPECT_TRUE(std::equal(signal.end() - 64, signal.end(), delayed.delay.data));
}

TEST(BandShift, LeavesAClosedRecordAndNoSamplesAlone)
{
    auto signal = noise(100, /*seed=*/5);
    const auto before = signal;
    BandShiftInfo never_opened{};
    makeBandShift(signal.data(), 100, &never_opened);
    open_shifter info{-1845};
    const auto opened = info.memory();
    makeBandShift(signal.data(), 0, &info);
    makeBandShift(signal.data(), -5, &info);
    EXPECT_EQ(info.memory(), opened);
    closeBandShift(&info);
    makeBandShift(signal.data(), 100, &info);
    EXPECT_EQ(signal, before);
    EXPECT_TRUE(info.history.length == 0 && info.delay.length == 0);
}

TEST(BandShift, WithoutMemoryStaysClosed)
{
    for (const std::size_t n : {0u, 1u}) {
        const test::failing_allocation failure{n};
        const open_shifter info{-1845};
        EXPECT_TRUE(info.history.data == nullptr && info.delay.data == nullptr) << n;
    }
}

} // namespace tonelink
