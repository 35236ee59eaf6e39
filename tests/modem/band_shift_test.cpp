#include "modem/band_shift.h"

#include <gtest/gtest.h>

#include "support/failing_memory.h"
#include "support/modem_guard.h"
#include "support/signals.h"

namespace tonelink {

using test::hash16;
using test::noise;
using test::open_shifter;

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
        auto signal = noise(5000, c.seed, 1, c.div);
        makeBandShift(signal.data(), 5000, &info);
        EXPECT_EQ(hash16(signal), c.known) << c.freq;
        EXPECT_EQ(info.phase, c.phase);
        EXPECT_EQ(info.half, c.half);
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
        const open_shifter info{c.freq};
        EXPECT_EQ(info.freq, c.freq);
        EXPECT_EQ(info.step, c.step) << c.freq;
        EXPECT_EQ(info.ntaps, 129);
        std::vector<int32_t> silent(2 + 64 + 129, 0);
        silent[1] = c.half;
        EXPECT_EQ(info.memory(), silent) << c.freq;
    }
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
    EXPECT_EQ(info.history.length, 0);
    EXPECT_EQ(info.delay.length, 0);
}

TEST(BandShift, WithoutMemoryStaysClosed)
{
    for (std::size_t n = 0;; ++n) {
        const test::failing_allocation failure{n};
        const open_shifter info{-1845};
        if (!failure.happened()) break;
        EXPECT_FALSE(is_open(info)) << n;
        EXPECT_EQ(info.history.data, nullptr) << n;
        EXPECT_EQ(info.delay.data, nullptr) << n;
    }
}

} // namespace tonelink
