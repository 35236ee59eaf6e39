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
    for (const uint64_t copies : {1u, 4u, 5u}) EXPECT_EQ(copies_before(copies, 5), 0) << copies;
    for (const uint64_t copies : {6u, 9u, 10u}) EXPECT_EQ(copies_before(copies, 5), 5) << copies;
    for (const uint64_t copies : {1u, 2u, 3u}) EXPECT_EQ(copies_before(copies, 1), copies - 1);
}

} // namespace
} // namespace tonelink::tool
