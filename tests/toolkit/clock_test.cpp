#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

TEST(Clock, CountsSecondsInMilliseconds)
{
    const std::time_t before = std::time(nullptr);
    const uint32_t since_before = get_system_time() - static_cast<uint32_t>(before) * 1000u;
    EXPECT_EQ(since_before % 1000, 0u);
    EXPECT_LE(since_before / 1000, static_cast<uint32_t>(std::time(nullptr) - before));
}

} // namespace
