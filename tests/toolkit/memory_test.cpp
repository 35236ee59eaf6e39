#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace {

TEST(Memory, IsFilledAndCompared)
{
    std::string block = "......";
    ac_copy_memory(block.data(), "tones", 5);
    ac_zero_memory(&block[1], 2);
    EXPECT_EQ(block, std::string("t\0\0es.", 6));
    EXPECT_EQ(ac_compare_memory("ab", "ac", 1), 0);
    EXPECT_LT(ac_compare_memory("ab", "ac", 2), 0);
    EXPECT_GT(ac_compare_memory("a\x80", "a\x7f", 2), 0) << "a byte has no sign";
    ac_free_memory(nullptr);
}

TEST(Text, IsMeasuredSearchedAndCopiedWithinItsDestination)
{
    const char *const text = "one tone";
    EXPECT_EQ(ac_strlen(text), 8u);
    EXPECT_EQ(ac_strstr(text, "ton"), text + 4);
    EXPECT_EQ(ac_strstr(text, "tones"), nullptr);
    for (const auto &[before, source, after] : {std::tuple{"abc\0tail", "wxyz", "wxy\0tail"},
                                                {"abcdef\0t", "x", "x\0\0\0\0\0\0t"},
                                                {"\0bc\0tail", "wxyz", "\0bc\0tail"}}) {
        std::string copy(before, 8);
        EXPECT_EQ(ac_strcpy(copy.data(), source), 1);
        EXPECT_EQ(copy, std::string(after, 8));
    }
}

TEST(Clock, CountsSecondsInMilliseconds)
{
    const std::time_t before = std::time(nullptr);
    const uint32_t since_before = get_system_time() - static_cast<uint32_t>(before) * 1000u;
    EXPECT_EQ(since_before % 1000, 0u);
    EXPECT_LE(since_before / 1000, static_cast<uint32_t>(std::time(nullptr) - before));
}

} // namespace
