#include <bitset>
#include <span>

#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

class FormatMsg : public library_test {
protected:
    message_row row{};

    std::string bits(std::size_t count) const { return text_of(std::span{row}.first(count)); }
};

const std::string kZeros(255, '0');

/// What is logged of a message: a text, if there is one, and a row of bits.
std::string trace_of(const std::string &function, const std::string &text, const std::string &bits)
{
    std::vector<std::string> lines;
    if (!text.empty()) lines.push_back(text);
    for (std::size_t i = 0; i < bits.size(); ++i)
        lines.push_back("bin_arr[" + std::to_string(i) + "]-->" + bits[i]);
    return log_of("format_msg.cpp", function, lines);
}

} // namespace

TEST_F(FormatMsg, PutWritesNoLeadingZeros)
{
    row.fill(7);
    put(row.data(), 0b101, 2, 6);
    put(row.data(), 0xFFFFFFFFu, 8, 1);
    put(row.data(), 0, 10, 2);
    put(row.data(), 1, 12, 0);
    put(nullptr, 1, 0, 8);
    EXPECT_EQ(bits(13), "7777710117777");
}

TEST_F(FormatMsg, LaysOutPairingMessages)
{
    const struct {
        int32_t pin;
        const char *address;
        int32_t nbits;
        std::string bits;
    } cases[] = {
        {5000, "11:22:33:44:AB:CD", 32, "00010011100010001010101111001101"},
        {5000, "11:22:33:44:AB:CD", 48, kZeros.substr(0, 16) + "00010011100010001010101111001101"},
        {0, "0:0:0:0:-10000000001:1", 32, "00000000000000001111111100000001"},
        {70000, "0:0:0:0:0:0", 32, "0001000101110000" + kZeros.substr(0, 16)},
        {-1, "0:0:0:0:0:80", 48, std::string(32, '1') + "0000000010000000"},
        {1, "11:22::44:AB:CD", 32, "00000000000000010000000000000000"},
        {1, "11:22:33:44:AB CD", 32, "00000000000000011010101100000000"},
        // The low 8 bits of numbers of 64, whose largest stands for those beyond.
        {1, "0:0:0:0:1FE:8000000000000003", 32, "00000000000000011111111000000011"},
        {1, "0:0:0:0:10000000000:10000000000000000", 32, "00000000000000010000000011111111"},
        {1, "0:0:0:0:-2:0x1F", 32, "00000000000000011111111000011111"},
        {5000, "11:22:33:44:AB:CD", 16, "1010101111001101"},
        {5000, "", 400, kZeros},
    };
    for (const auto &c : cases) {
        row.fill(0);
        platform.forget();
        format_msg(row.data(), c.pin, c.address, c.nbits);
        EXPECT_EQ(bits(c.bits.size()), c.bits) << c.address;
        EXPECT_EQ(platform.trace(), trace_of("format_msg", std::to_string(c.pin), c.bits));
    }
}

TEST_F(FormatMsg, LaysOutPinTexts)
{
    const struct {
        const char *text;
        int32_t value;
        uint16_t octets;
    } cases[] = {
        {"1 2 3 4 AB CD", 49325032, 0xABCD},
        {"1 2 3 4 1FF", 49325032, 0xFF00},
        {"B", 66000000, 0},
        {"\xFF\xFFz!", -1000000 - 10000 + 122 * 100 + 33, 0},
    };
    for (const auto &c : cases) {
        row.fill(0);
        platform.forget();
        format_msg_pin(row.data(), c.text);
        const auto value = std::bitset<32>(static_cast<uint32_t>(c.value)).to_string();
        EXPECT_EQ(bits(48), value + std::bitset<16>(c.octets).to_string()) << c.text;
        EXPECT_EQ(platform.trace(), trace_of("format_msg_pin", std::to_string(c.value), bits(48)));
    }
}

TEST_F(FormatMsg, LaysOutData)
{
    const uint8_t data[] = {0xFF, 0x80, 0x01, 0x5A, 0x00, 0x3C, 0xFF, 0xFF, 0xFF};
    const std::string all = "111111111000000000000001010110100000000000111100";
    const struct {
        int32_t length;
        int32_t packet_type;
        std::size_t written;
        bool is_short;
    } cases[] = {{4, 1, 32, false}, {9, 2, 48, false}, {3, 1, 24, true}, {5, 2, 40, true},
                 {0, 1, 0, true},   {-5, 2, 0, true},  {9, 3, 0, false}, {-1, 3, 0, true}};
    for (const auto &c : cases) {
        row.fill(0);
        platform.forget();
        format_msgm(row.data(), data, c.length, c.packet_type);
        const auto written = all.substr(0, c.written);
        EXPECT_EQ(bits(64), written + kZeros.substr(c.written, 64 - c.written));
        const auto *const said = c.is_short ? "Error in length so truncating buffer" : "";
        EXPECT_EQ(platform.trace(), trace_of("format_msgm", said, written));
    }
}

TEST_F(FormatMsg, RefusesNull)
{
    const uint8_t data[6] = {1};
    format_msg(nullptr, 1, "0:0:0:0:1:1", 32);
    format_msg(row.data(), 1, nullptr, 32);
    format_msg_pin(nullptr, "1");
    format_msg_pin(row.data(), nullptr);
    for (const int32_t length : {6, 5, 0, -1}) {
        format_msgm(nullptr, data, length, 2);
        format_msgm(row.data(), nullptr, length, 2);
    }
    format_msgm(nullptr, nullptr, 6, 3);
    EXPECT_EQ(platform.trace(), documented_trace("payload_from_null"));
    EXPECT_EQ(bits(255), kZeros);
}

} // namespace tonelink::test
