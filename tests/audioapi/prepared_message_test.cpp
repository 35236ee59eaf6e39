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

const char *const kFunction = "set_pin_Custom_in_ultrasound";
const std::string kUntouched(255, '1');
const std::string kTooLong = "buffer length greater then size";

} // namespace

TEST_F(PreparedMessage, IsAPinWithAnAddress)
{
    set_pin_in_ultrasound(5000, nullptr);
    EXPECT_EQ(m_pin_Type, 1);
    expect_prepared(std::string(255, '1'));
    set_pin_in_ultrasound(5000, "0:0:0:0:AB:CD");
    EXPECT_EQ(m_pin_Type, 2);
    expect_prepared(binary<48>(0x1388ABCD));
    EXPECT_EQ(platform.said("set_pin_in_ultrasound"), documented_trace("pin_with_address"));
}

TEST_F(PreparedMessage, IsAPinText)
{
    const struct {
        std::string buffer;
        int32_t packet_type;
        int32_t with_address;
        std::string said;
        std::string bits; // none for a number that is refused
    } cases[] = {
        {"1000", 1, 0, "***PIN =1000", binary<32>(1000)},
        {"1000", 2, 0, "***PIN =1000", binary<48>(1000)},
        {"01000", 1, 0, "***PIN =1000", binary<32>(1000)},
        {" +70000x", 1, 0, "***PIN =70000", binary<32>(70000)},
        {"70000", 0, 0, "***PIN =70000", binary<16>(70000 - 65536)},
        {"70000\xAB\xCD", 1, 1, "***PIN =70000", binary<32>(70000u << 16 | 0xABCD)},
        {"5000\x00\xFF"s, 2, -1, "***PIN =5000", binary<48>(5000 << 16 | 0xFF)},
        {"5000\x80\x01", 7, 1, "***PIN =5000", binary<16>(0x8001)},
        {"-1", 2, 0, "***PIN =-1", binary<48>(0xFFFFFFFF)},
        // The low 32 bits of a number of 64, the largest of which stands for those beyond.
        {"4294971296", 1, 0, "***PIN =4000", binary<32>(4000)},
        {"99999999999999999\x01\x02", 2, 1, "***PIN =1569325055", binary<48>(0x5D89FFFF0102)},
        {"-4294963296", 1, 0, "***PIN =4000", binary<32>(4000)},
        {"9999999999999999999", 1, 0, "***PIN =-1", binary<32>(0xFFFFFFFF)},
        {"4294967296", 1, 0, "***PIN =0", ""},
        {"999", 1, 0, "***PIN =999", ""},
        {"\x01\x02", 1, 1, "***PIN =0", ""},
        {"9", 1, 1, "***PIN =0", ""},
        {"00000000000000001000", 1, 0, kTooLong, kUntouched},
    };
    for (const auto &c : cases) {
        SetUp();
        const auto length = static_cast<int32_t>(c.buffer.size());
        const bool is_long = c.said == kTooLong;
        const bool is_made = !is_long && c.bits != "";
        EXPECT_EQ(
            set_pin_Custom_in_ultrasound(c.buffer.data(), c.packet_type, 5, length, c.with_address),
            is_made ? 0 : -1);
        EXPECT_EQ(m_pin_Type, 5);
        expect_prepared(c.bits);
        std::vector<std::string> lines{R"(ENTER\n)", c.said};
        if (is_made && c.with_address != 0) {
            lines.emplace_back("Pin_Array Start");
            for (const char bit : c.bits) lines.emplace_back(1, bit);
            lines.emplace_back("Pin_Array End");
        }
        if (!is_made && !is_long) lines.emplace_back("Pin Out of Range");
        if (!is_made) lines.emplace_back(R"(EXIT\n)");
        EXPECT_EQ(platform.trace(), log_of("SoundMgr.cpp", kFunction, lines));
    }
}

TEST_F(PreparedMessage, NeedsABufferAndALength)
{
    const struct {
        const char *buffer;
        int32_t length;
        std::string said;
        int32_t pin_type; // after
    } cases[] = {{nullptr, 4, "set_pin_in_ultrasound buffer_set NULL", 1},
                 {"1000", 0, "set_pin_in_ultrasound buffer_set NULL", 1},
                 {"1000", -1, kTooLong, 5}};
    for (const auto &c : cases) {
        SetUp();
        EXPECT_EQ(set_pin_Custom_in_ultrasound(c.buffer, 1, 5, c.length, 0), -1);
        EXPECT_EQ(m_pin_Type, c.pin_type);
        expect_prepared(kUntouched);
        EXPECT_EQ(platform.trace(),
                  log_of("SoundMgr.cpp", kFunction, {R"(ENTER\n)", c.said, R"(EXIT\n)"}));
    }
}

} // namespace tonelink::test
