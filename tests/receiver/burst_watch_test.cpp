// Bursts are seen wherever they lie, each once, near to where it is.
#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <vector>

#include "modem/known_bursts.h"
#include "receiver/burst_watch.h"
#include "support/sounds.h"

namespace tonelink::test {

namespace {

/// The places of the bursts that are seen in a sound.
std::vector<double> seen_in(std::span<const float> samples)
{
    const auto band = std::make_unique<baseband>();
    const auto watch = std::make_unique<burst_watch>();
    std::vector<double> all;
    for (; samples.size() >= 441; samples = samples.subspan(441)) {
        band->put(samples.first(441));
        watch->look(*band);
        if (const auto seen = watch->take()) all.push_back(*seen);
    }
    return all;
}

} // namespace

/// At any place within a symbol, so weak that not all of them are read. Who measures a burst finds
/// it from 10 ms away.
TEST(BurstWatch, SeesABurstAnywhere)
{
    const sound burst = burst_at(kPair32.bits, 44100);
    for (std::size_t late = 0; late < 1440; late += 60) {
        sound all = band_noise(60000, 44100, -40, 30 + static_cast<unsigned>(late));
        add(all, burst, 5000 + late, -40 - 2 - level_of(burst));
        const auto seen = seen_in(all);
        ASSERT_EQ(seen.size(), 1u) << late;
        EXPECT_NEAR(seen[0], static_cast<double>(5000 + late), 200);
    }
}

/// Bursts without a pause are told apart, and the last one does not wait for another.
TEST(BurstWatch, SeesEachBurstOnce)
{
    const sound burst = burst_at(kPair48.bits, 44100, 700);
    sound all = band_noise(4 * burst.size() + 30000, 44100, -60, 29);
    for (std::size_t copy = 0; copy < 4; ++copy) add(all, burst, 3000 + copy * burst.size(), -20);
    const auto seen = seen_in(all);
    ASSERT_EQ(seen.size(), 4u);
    for (std::size_t copy = 0; copy < 4; ++copy)
        EXPECT_NEAR(seen[copy], static_cast<double>(3000 + copy * burst.size()), 200);
    EXPECT_TRUE(seen_in(sound(60000)).empty());
}

} // namespace tonelink::test
