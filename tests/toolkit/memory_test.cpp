#include "support/failing_memory.h"
#include "tonelink/toolkit.h"

#include <gtest/gtest.h>

#include <ctime>
#include <string>

namespace {

TEST(Memory, BlocksAreFilledAndCompared)
{
    auto *const block = static_cast<char *>(ac_allocate_memory(6));
    ASSERT_NE(block, nullptr);
    ac_copy_memory(block, "tones", 6);
    EXPECT_STREQ(block, "tones");
    ac_zero_memory(block + 1, 2);
    EXPECT_EQ(std::string(block, 6), std::string("t\0\0es\0", 6));
    ac_free_memory(block);
    ac_free_memory(nullptr);
    EXPECT_EQ(ac_compare_memory("ab", "ac", 1), 0);
    EXPECT_LT(ac_compare_memory("ab", "ac", 2), 0);
    EXPECT_GT(ac_compare_memory("a\x80", "a\x7f", 2), 0) << "a byte has no sign";
    const tonelink::test::failing_allocation failure(0);
    EXPECT_EQ(ac_allocate_memory(6), nullptr);
}

TEST(Text, StrcpyNeverGrowsItsDestination)
{
    const struct {
        const char *before, *source;
        std::string after; // all eight bytes
    } rows[] = {
        {"abc\0tail", "wxyz", {"wxy\0tail", 8}},
        {"abcdef\0t", "x", {"x\0\0\0\0\0\0t", 8}},
        {"\0bc\0tail", "wxyz", {"\0bc\0tail", 8}},
    };
    for (const auto &[before, source, after] : rows) {
        std::string text(before, 8);
        EXPECT_EQ(ac_strcpy(text.data(), source), 1);
        EXPECT_EQ(text, after);
    }
}

TEST(Clock, CountsSecondsInMilliseconds)
{
    const std::time_t before = std::time(nullptr);
    const uint32_t since_before = get_system_time() - static_cast<uint32_t>(before) * 1000u;
    EXPECT_EQ(since_before % 1000, 0u);
    EXPECT_LE(since_before / 1000, static_cast<uint32_t>(std::time(nullptr) - before));
}

TEST(Text, LengthAndSearch)
{
    const char *const text = "one tone";
    EXPECT_EQ(ac_strlen(text), 8u);
    EXPECT_EQ(ac_strstr(text, "ton"), text + 4);
    EXPECT_EQ(ac_strstr(text, "tones"), nullptr);
}

} // namespace
