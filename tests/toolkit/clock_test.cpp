#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <ctime>

namespace {

TEST(Clock, CountsSecondsInMilliseconds)
{
    const auto in_milliseconds = [](std::time_t t) { return static_cast<uint32_t>(t) * 1000u; };
    const std::time_t before = std::time(nullptr);
    const uint32_t now = get_system_time();
    const std::time_t after = std::time(nullptr);
    std::time_t second = before;
    while (second < after && in_milliseconds(second) != now) ++second;
    EXPECT_EQ(now, in_milliseconds(second)) << "between " << before << " and " << after;
}

} // namespace
