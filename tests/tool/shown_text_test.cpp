#include "shown_text.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "message.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

TEST(ShownText, IsOneLineOfPrintableCharacters)
{
    using namespace std::string_literals;
    for (const std::string &text : {""s, "a b ~\\x1B.wav"s, "Müll 音 🎵"s})
        EXPECT_EQ(shown(text), text);
    for (const auto &[text, safe] : std::initializer_list<std::pair<std::string, std::string>>{
             {"a\nb\r\t\0\x7F"s, R"(a\nb\r\t\x00\x7F)"},
             {"\x1B[31mred\x1B]0;title\a", R"(\x1B[31mred\x1B]0;title\x07)"},
             {"\u009B31m", R"(\u{009B}31m)"},                            // C1, as UTF-8
             {"\x9B\x33\xFF\xC3(\xE2\x82", R"(\x9B3\xFF\xC3(\xE2\x82)"}, // no UTF-8, cut short
             {"\xC0\xAF\xED\xA0\x80", R"(\xC0\xAF\xED\xA0\x80)"},        // overlong, a surrogate
             {"cod.\u202Evaw\u2066\u200F\u061C", R"(cod.\u{202E}vaw\u{2066}\u{200F}\u{061C})"},
             {"\u2028\uFEFF\U000E0041", R"(\u{2028}\u{FEFF}\u{E0041})"}})
        EXPECT_EQ(shown(text), safe);
}

TEST(ShownText, IsEscapedInJson)
{
    using namespace std::string_literals;
    for (const std::string &text :
         {"a\"b\\\n\x7F\x1B[2J"s, "M\u00fcll"s, "\u009B2J\u202E\u2028\U000E0041"s}) {
        const std::string line = line_of(json_object{{"text", text}});
        EXPECT_EQ(nlohmann::json::parse(line)["text"], text);
        EXPECT_EQ(shown(line), line.substr(0, line.size() - 1) + "\\n");
    }
    EXPECT_EQ(line_of(json_object{{"a", "\u00fc\u202E\U000E0041\xFF"}}),
              "{\"a\":\"\u00fc\\u202E\\uDB40\\uDC41\uFFFD\"}\n");
}

std::string text_in(const std::string &bytes)
{
    return text_of(
        data_message({reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()},
                     bytes.size() > 4 ? message_length::long_48 : message_length::short_32));
}

TEST(Message, IsTextWhereAllOfItCanBeShown)
{
    for (const std::string text : {"hi", "TV-042", "\u00fc\u20ac", "a b"})
        EXPECT_EQ(text_in(text), text);
    using namespace std::string_literals;
    for (const std::string &other :
         {"\0"s, "a\0b"s, "a\n"s, "\x1B[m"s, "\xFC"s, "abcde\xE2"s, "\u202Ea"s})
        EXPECT_EQ(text_in(other), "") << other;
}

} // namespace
} // namespace tonelink::tool
