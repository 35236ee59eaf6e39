#include "modem/band_shift.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/failing_memory.h"
#include "support/modem_guard.h"

namespace tonelink::test {

TEST(BandShift, OpensSilentInAnyDirection)
{
    for (const auto &[freq, step, half] :
         {std::tuple{-1845, 342, 0}, {1845, 342, 1}, {0, 0, 0}, {44100, 8192, 1}}) {
        const open_shifter info{freq};
        EXPECT_TRUE(info.freq == freq && info.step == step && info.ntaps == 129) << freq;
        std::vector<int32_t> silent(2 + 64 + 129, 0);
        silent[1] = half;
        EXPECT_EQ(info.memory(), silent) << freq;
    }
}

TEST(BandShift, MeetsTheIndependentModel)
{
    for (const auto &[freq, seed, div, known, half] :
         {std::tuple{-1845, 501u, 1, "5fb18be35988fbcc", 1},
          {1845, 502u, 3, "f67a882329f1e9de", 0}}) {
        open_shifter info{freq};
        auto signal = noise(5000, seed, 1, div);
        makeBandShift(signal.data(), 1, &info);
        makeBandShift(&signal[1], 4999, &info);
        EXPECT_EQ(hash16(signal), known) << freq;
        EXPECT_TRUE(info.phase == 1968 && info.half == half) << freq;
    }
}

TEST(BandShift, ShiftsByACallersOwnCoefficientsAndDelayLine)
{
    std::vector<int16_t> own(129, 0);
    own[128] = 16384; // the quadrature is half the sample at hand
    open_shifter by_own{0}, delayed{0};
    by_own.coef = own.data();
    by_own.phase = 2048; // only the quadrature is heard, and of the other the delayed sample
    by_own.half = 1;
    std::fill_n(delayed.delay.data, 64, int16_t{1000});
    const auto signal = noise(1000, /*seed=*/5);
    auto quadrature = signal, in_phase = signal;
    makeBandShift(quadrature.data(), 1000, &by_own);
    makeBandShift(in_phase.data(), 1000, &delayed);
    for (std::size_t i = 0; i < signal.size(); ++i) {
        ASSERT_EQ(quadrature[i], -(((signal[i] >> 1) * 32767) >> 15)) << i;
        ASSERT_EQ(in_phase[i], ((i < 64 ? 1000 : signal[i - 64]) * -32767) >> 15) << i;
    }
}

TEST(BandShift, LeavesAClosedRecordAndNoSamplesAlone)
{
    auto signal = noise(100, /*seed=*/5);
    const auto before = signal;
    open_shifter info{-1845};
    const auto opened = info.memory();
    makeBandShift(signal.data(), 0, &info);
    makeBandShift(signal.data(), -5, &info);
    EXPECT_EQ(info.memory(), opened);
    closeBandShift(&info);
    makeBandShift(signal.data(), 100, &info);
    for (const std::size_t n : {0u, 1u}) {
        const failing_allocation failure{n};
        open_shifter without_memory{-1845};
        makeBandShift(signal.data(), 100, &without_memory);
        EXPECT_EQ(without_memory.memory(), (std::vector{0, 0})) << n;
    }
    EXPECT_EQ(signal, before);
}

} // namespace tonelink::test
