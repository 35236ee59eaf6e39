#include "send/transmission.h"

#include <gtest/gtest.h>

#include "burst_shape.h"

namespace tonelink::tool {

TEST(Transmission, KnowsWhenTheLastWriteBegins)
{
    EXPECT_EQ(samples_before_last_write(6, 5), 5u * kBurstSamples);
    EXPECT_EQ(samples_before_last_write(10, 5), 5u * kBurstSamples);
}

} // namespace tonelink::tool
