#include "arguments.h"

#include <gtest/gtest.h>

#include "errors.h"
#include "message.h"

namespace tonelink::tool {
namespace {

TEST(Arguments, PinMustFitItsMessage)
{
    EXPECT_EQ(parse_pin("65535", message_length::short_32), 65535u);
    EXPECT_EQ(parse_pin("0042", message_length::short_32), 42u); // decimal in spite of the zeros
    EXPECT_EQ(parse_pin("4294967295", message_length::long_48), 4294967295u);
    EXPECT_THROW(parse_pin("65536", message_length::short_32), wrong_usage);
    EXPECT_THROW(parse_pin("4294967296", message_length::long_48), wrong_usage);
    for (const char *text : {"", "-1", "+1", " 1", "1 ", "0x10", "1e3", "99999999999999999999"})
        EXPECT_THROW(parse_pin(text, message_length::long_48), wrong_usage) << text;
}

TEST(Arguments, AddressIsSixOctetsOfTwoDigits)
{
    EXPECT_EQ(parse_address("01:23:45:67:89:aF"),
              (bluetooth_address{0x01, 0x23, 0x45, 0x67, 0x89, 0xAF}));
    for (const char *text : {"", "01:23:45:67:89", "01:23:45:67:89:AF:", "01:23:45:67:89:A",
                             "0x:23:45:67:89:AF", "01-23-45-67-89-AF", "01:23:45:67:89:GF"})
        EXPECT_THROW(parse_address(text), wrong_usage) << text;
}

TEST(Arguments, DataIsPairsOfDigits)
{
    EXPECT_EQ(parse_data("00fF"), (std::vector<uint8_t>{0x00, 0xFF}));
    for (const char *text : {"", "0", "012", "0g", "0x01", "01 02"})
        EXPECT_THROW(parse_data(text), wrong_usage) << text;
}

TEST(Arguments, NumbersStayInTheirRange)
{
    EXPECT_EQ(parse_count("--copies", "010", 1, 100), 10u);
    EXPECT_EQ(parse_number("--level", "-6.5", -90, 0), -6.5);
    for (const char *text : {"0", "101", "1.5", "-1", "", "ten", "18446744073709551617"})
        EXPECT_THROW(parse_count("--copies", text, 1, 100), wrong_usage) << text;
    for (const char *text : {"0.1", "-90.1", "nan", "inf", "", "-6dB"})
        EXPECT_THROW(parse_number("--level", text, -90, 0), wrong_usage) << text;
}

TEST(Arguments, SizeIsWidthTimesHeight)
{
    const picture_size size = parse_size("640x8000");
    EXPECT_EQ(size.width, 640);
    EXPECT_EQ(size.height, 8000);
    for (const char *text : {"", "x", "1600", "1600x", "x1000", "639x1000", "1600x399", "8001x1000",
                             "1600X1000", "1600x1000x2", "-1600x1000"})
        EXPECT_THROW(parse_size(text), wrong_usage) << text;
}

} // namespace
} // namespace tonelink::tool
