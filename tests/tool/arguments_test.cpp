#include "arguments.h"

#include <optional>

#include <gtest/gtest.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

/// What an option that takes numbers makes of a text; nothing where it is refused.
template <class Number>
std::optional<Number> taken(const std::string &text, Number lowest, Number highest)
{
    CLI::App program;
    std::optional<Number> number;
    program.add_option("--number", number)->transform(number_from(lowest, highest));
    try {
        program.parse(std::vector<std::string>{text, "--number"}); // the last one is read first
    } catch (const CLI::ParseError &) {
        return std::nullopt;
    }
    return number;
}

TEST(Arguments, NumbersAreDecimalAndInTheirRange)
{
    constexpr uint64_t kLowest = 1, kHighest = 4294967295;
    EXPECT_EQ(taken("0042", kLowest, kHighest), 42u);
    EXPECT_EQ(taken("4294967295", kLowest, kHighest), kHighest);
    for (const char *text : {"0", "4294967296", "18446744073709551617", "-1", "+1",
                             "-18446744073709551610", "1.5", "0x10", "1e3", " 1", "1 ", "", "ten"})
        EXPECT_EQ(taken(text, kLowest, kHighest), std::nullopt) << text;
    EXPECT_EQ(taken("-6.5", -90.0, 1.0), -6.5);
    EXPECT_EQ(taken("00.25", -90.0, 1.0), 0.25);
    for (const char *text : {"1.1", "-90.1", "nan", "inf", "0x1", "", "-6dB"})
        EXPECT_EQ(taken(text, -90.0, 1.0), std::nullopt) << text;
}

TEST(Arguments, BytesArePairsOfHexadecimalDigits)
{
    EXPECT_EQ(parse_address("01:23:45:67:89:aF"),
              (bluetooth_address{0x01, 0x23, 0x45, 0x67, 0x89, 0xAF}));
    for (const char *text : {"", "01:23:45:67:89", "01:23:45:67:89:AF:", "01:23:45:67:89:A",
                             "0x:23:45:67:89:AF", "01-23-45-67-89-AF", "01:23:45:67:89:GF"})
        EXPECT_THROW(parse_address(text), wrong_usage) << text;
    EXPECT_EQ(parse_data("00fF"), (std::vector<uint8_t>{0x00, 0xFF}));
    for (const char *text : {"", "0", "012", "0g", "0x01", "01 02", "-1+1"})
        EXPECT_THROW(parse_data(text), wrong_usage) << text;
}

} // namespace
} // namespace tonelink::tool
