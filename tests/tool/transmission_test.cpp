#include "transmission.h"

#include <gtest/gtest.h>

#include "burst_layout.h"

namespace tonelink::tool {
namespace {

TEST(Transmission, KnowsWhenTheLastWriteBegins)
{
    const auto copies_before = [](uint64_t copies, uint64_t copies_a_write) {
        return static_cast<double>(samples_before_last_write(copies, copies_a_write)) /
               kBurstSamples;
    };
    for (const uint64_t copies : {1, 4, 5}) EXPECT_EQ(copies_before(copies, 5), 0) << copies;
    for (const uint64_t copies : {6, 9, 10}) EXPECT_EQ(copies_before(copies, 5), 5) << copies;
    for (const uint64_t copies : {1, 2, 3}) EXPECT_EQ(copies_before(copies, 1), copies - 1);
}

} // namespace
} // namespace tonelink::tool
