#include <bitset>

#include "support/library_fixture.h"

namespace tonelink::test {

using namespace std::string_literals;

namespace {

class PreparedMessage : public library_test {
protected:
    void SetUp() override
    {
        library_test::SetUp();
        std::ranges::fill(pin_array, uint8_t{1});
    }

    static void expect_prepared(const std::string &bits)
    {
        EXPECT_EQ(text_of(pin_array), bits + std::string(255 - bits.size(), '0'));
    }
};

template <std::size_t Width> std::string binary(uint64_t value)
{
    return std::bitset<Width>(value).to_string();
}

const std::string kFile = "SoundMgr.cpp";

} // namespace

TEST_F(PreparedMessage, IsAPinWithAnAddress)
{
    set_pin_in_ultrasound(5000, nullptr);
    EXPECT_EQ(m_pin_Type, 1);
    expect_prepared(std::string(255, '1'));
    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    EXPECT_EQ(m_pin_Type, 2);
    expect_prepared(binary<48>(0x1388ABCD));
    expect_log(kFile, {{"set_pin_in_ultrasound",
                        "ENTER\n|set_pin_in_ultrasound mac_address NULL|EXIT\n|ENTER\n|EXIT\n"}});
}

TEST_F(PreparedMessage, IsAPinText)
{
    const std::string untouched(255, '1');
    const std::string too_long = "buffer length greater then size";
    const struct {
        std::string buffer;
        int32_t packet_type;
        int32_t with_address;
        std::string said;
        std::string bits; // none for a number that is refused
    } cases[] = {
        {"1000", 1, 0, "***PIN =1000", binary<32>(1000)},
        {"1000", 2, 0, "***PIN =1000", binary<48>(1000)},
        {" +70000x", 1, 0, "***PIN =70000", binary<32>(70000)},
        {"70000", 0, 0, "***PIN =70000", binary<16>(70000 - 65536)},
        {"70000\xAB\xCD", 1, 1, "***PIN =70000", binary<32>(70000u << 16 | 0xABCD)},
        {"5000\x00\xFF"s, 2, -1, "***PIN =5000", binary<48>(5000 << 16 | 0xFF)},
        {"5000\x80\x01", 7, 1, "***PIN =5000", binary<16>(0x8001)},
        {"-1", 2, 0, "***PIN =-1", binary<48>(0xFFFFFFFF)},
        {"99999999999999999\x01\x02", 2, 1, "***PIN =2147483647", binary<48>(0x7FFFFFFF0102)},
        {"-999999999999999999", 1, 0, "***PIN =-2147483648", binary<32>(0x80000000)},
        {"999", 1, 0, "***PIN =999|Pin Out of Range", ""},
        {"\x01\x02", 1, 1, "***PIN =0|Pin Out of Range", ""},
        {"9", 1, 1, "***PIN =0|Pin Out of Range", ""},
        {"00000000000000001000", 1, 0, too_long, untouched},
    };
    for (const auto &c : cases) {
        SetUp();
        const auto length = static_cast<int32_t>(c.buffer.size());
        const bool is_made = c.bits != untouched && c.bits != "";
        EXPECT_EQ(
            set_pin_Custom_in_ultrasound(c.buffer.data(), c.packet_type, 5, length, c.with_address),
            is_made ? 0 : -1);
        EXPECT_EQ(m_pin_Type, 5);
        expect_prepared(c.bits);
        auto said = "ENTER\n|" + c.said;
        if (is_made && c.with_address != 0) {
            said += "|Pin_Array Start";
            for (const char bit : c.bits) said += {'|', bit};
            said += "|Pin_Array End";
        }
        expect_log(kFile, {{"set_pin_Custom_in_ultrasound", said + "|EXIT\n"}});
    }
    SetUp();
    EXPECT_EQ(set_pin_Custom_in_ultrasound(nullptr, 1, 5, 4, 0), -1);
    EXPECT_EQ(set_pin_Custom_in_ultrasound("1000", 1, 5, 0, 0), -1);
    EXPECT_EQ(m_pin_Type, 1);
    EXPECT_EQ(set_pin_Custom_in_ultrasound("1000", 1, 5, -1, 0), -1);
    EXPECT_EQ(m_pin_Type, 5);
    expect_prepared(untouched);
    const std::string none = "ENTER\n|set_pin_in_ultrasound buffer_set NULL|EXIT\n|";
    expect_log(kFile,
               {{"set_pin_Custom_in_ultrasound", none + none + "ENTER\n|" + too_long + "|EXIT\n"}});
}

} // namespace tonelink::test
