#include <bitset>

#include "support/library_fixture.h"

namespace tonelink {

using test::platform;
using namespace std::string_literals;

namespace {

class PreparedMessage : public test::library_test {};

std::string prepared() { return test::text_of(pin_array); }

template <std::size_t Width> std::string binary(uint64_t value)
{
    return std::bitset<Width>(value).to_string();
}

} // namespace

TEST_F(PreparedMessage, IsAPinWithAnAddress)
{
    std::ranges::fill(pin_array, uint8_t{1});
    set_pin_in_ultrasound(5000, nullptr);
    EXPECT_EQ(m_pin_Type, 1);
    EXPECT_EQ(prepared(), std::string(255, '1'));
    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    EXPECT_EQ(m_pin_Type, 2);
    EXPECT_EQ(prepared(), binary<48>(0x1388ABCD) + std::string(207, '0'));
    EXPECT_EQ(platform.said("set_pin_in_ultrasound"),
              "SoundMgr.cpp|ENTER\n|set_pin_in_ultrasound mac_address NULL|EXIT\n|ENTER\n|EXIT\n");
}

TEST_F(PreparedMessage, IsAPinText)
{
    const struct {
        std::string buffer;
        int32_t packet_type;
        int32_t with_address;
        int32_t number;
        std::string bits;
    } cases[] = {
        {"1000", 1, 0, 1000, binary<32>(1000)},
        {"1000", 2, 0, 1000, binary<48>(1000)},
        {" +70000x", 1, 0, 70000, binary<32>(70000)},
        {"70000", 0, 0, 70000, binary<16>(70000 - 65536)},
        {"70000\xAB\xCD", 1, 1, 70000, binary<16>(70000 - 65536) + binary<16>(0xABCD)},
        {"5000\x00\xFF"s, 2, -1, 5000, binary<32>(5000) + binary<16>(0xFF)},
        {"5000\x80\x01", 7, 1, 5000, binary<16>(0x8001)},
        {"-1", 2, 0, -1, binary<16>(0) + binary<32>(0xFFFFFFFF)},
        {"99999999999999999\x01\x02", 2, 1, INT32_MAX, binary<32>(INT32_MAX) + binary<16>(0x0102)},
        {"-999999999999999999", 1, 0, INT32_MIN, binary<32>(0x80000000)},
    };
    for (const auto &c : cases) {
        platform.forget();
        std::ranges::fill(pin_array, uint8_t{1});
        const auto length = static_cast<int32_t>(c.buffer.size());
        EXPECT_EQ(
            set_pin_Custom_in_ultrasound(c.buffer.data(), c.packet_type, 5, length, c.with_address),
            0);
        EXPECT_EQ(m_pin_Type, 5);
        EXPECT_EQ(prepared(), c.bits + std::string(255 - c.bits.size(), '0')) << c.buffer;
        auto said = "SoundMgr.cpp|ENTER\n|***PIN =" + std::to_string(c.number);
        if (c.with_address != 0) {
            said += "|Pin_Array Start";
            for (const char bit : c.bits) said += {'|', bit};
            said += "|Pin_Array End";
        }
        EXPECT_EQ(platform.said("set_pin_Custom_in_ultrasound"), said + "|EXIT\n");
    }
}

TEST_F(PreparedMessage, RefusesTexts)
{
    const struct {
        const char *buffer;
        int32_t length;
        int32_t with_address;
        int32_t pin_type; // afterwards
        std::string text;
        char prepared;
    } cases[] = {
        {nullptr, 4, 0, 1, "set_pin_in_ultrasound buffer_set NULL", '1'},
        {"1000", 0, 0, 1, "set_pin_in_ultrasound buffer_set NULL", '1'},
        {"1000", -1, 0, 9, "buffer length greater then size", '1'},
        {"00000000000000001000", 20, 0, 9, "buffer length greater then size", '1'},
        {"999", 3, 0, 9, "***PIN =999|Pin Out of Range", '0'},
        {"pin", 3, 0, 9, "***PIN =0|Pin Out of Range", '0'},
        {"\x01\x02", 2, 1, 9, "***PIN =0|Pin Out of Range", '0'},
        {"9", 1, 1, 9, "***PIN =0|Pin Out of Range", '0'},
    };
    for (const auto &c : cases) {
        SetUp();
        std::ranges::fill(pin_array, uint8_t{1});
        EXPECT_EQ(set_pin_Custom_in_ultrasound(c.buffer, 1, 9, c.length, c.with_address), -1);
        EXPECT_EQ(m_pin_Type, c.pin_type);
        EXPECT_EQ(prepared(), std::string(255, c.prepared));
        EXPECT_EQ(platform.said("set_pin_Custom_in_ultrasound"),
                  "SoundMgr.cpp|ENTER\n|" + c.text + "|EXIT\n");
    }
}

} // namespace tonelink
