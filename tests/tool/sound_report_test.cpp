#include "decode/sound_report.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "decode/decode_report.h"
#include "decode/reception_text.h"

namespace tonelink::tool {
namespace {

/// All bits are 1.
tonelink_heard burst_at(double seconds, int32_t nbits, uint32_t positions = 1)
{
    tonelink_heard heard{};
    heard.nbits = nbits;
    std::fill_n(heard.message, nbits / 8, uint8_t{0xFF});
    heard.seconds = seconds;
    heard.copies = 1;
    heard.methods = TONELINK_METHOD_EXACT;
    heard.positions = positions;
    return heard;
}

TEST(RecentMessages, EachTransmissionCountsItsOwn)
{
    recent_messages recent;
    std::vector<int64_t> counts;
    for (const auto &[seconds, nbits] : std::initializer_list<std::pair<double, int32_t>>{
             {0, 32}, {0.6, 48}, {1.2, 32}, {4.1, 48}, {4.3, 32}, {6.5, 48}, {7.5, 32}})
        counts.push_back(recent.hear(burst_at(seconds, nbits)));
    EXPECT_EQ(counts, (std::vector<int64_t>{1, 1, 2, 1, 1, 2, 1}));
}

TEST(SoundReport, SoundThatEndsWhereProgrammesDoNeedNotBeCut)
{
    for (const auto &[edge_hz, may_be_whole] :
         {std::pair{8000.0f, false}, {13'900.0f, false}, {16'000.0f, true}}) {
        tonelink_reception reception{};
        reception.reason = TONELINK_REASON_BAND_CUT;
        reception.seconds = 5;
        reception.band_edge_hz = edge_hz;
        const std::string advice = advice_on(reception, {});
        EXPECT_EQ(advice.find("television") != std::string::npos, may_be_whole) << advice;
    }
}

TEST(SoundReport, ASingleBurstThatMayBeChanceSaysSo)
{
    const auto is_doubted = [](const tonelink_heard &heard) {
        const bool is_one = line_of_burst(heard, report_form::text).ends_with(": may be chance\n");
        EXPECT_EQ(line_of_figures(heard, "", report_form::text).ends_with(": may be chance\n"),
                  is_one);
        return is_one;
    };
    EXPECT_TRUE(is_doubted(burst_at(0, 32, 1)));
    EXPECT_FALSE(is_doubted(burst_at(0, 32, 2)));
    tonelink_heard far = burst_at(0, 32, 1);
    far.methods |= TONELINK_METHOD_FAR;
    far.clock_ppm = -0.01f;
    EXPECT_FALSE(is_doubted(far));
    EXPECT_TRUE(line_of_figures(far, "", report_form::text).ends_with(" +0.0 ppm\n"));
}

/// The lines of a sound with one message four times, twice after a pause, and another once, in
/// between at a single position.
std::string told_of(bool is_stream)
{
    std::string told;
    sound_report report{"", report_form::text, is_stream,
                        [&](const std::string &line) { told += line; }};
    for (const auto &[seconds, nbits] : std::initializer_list<std::pair<double, int32_t>>{
             {0, 32}, {1, 32}, {2, 48}, {5, 32}, {6, 32}}) {
        report.add(burst_at(seconds, nbits, nbits == 32 ? 3 : 1));
        told += '.';
    }
    report.finish();
    return told;
}

TEST(SoundReport, TellsOfAStreamAsItComes)
{
    const std::string a = "PIN 65535  FF:FF  32 bits  FFFFFFFF  heard ";
    const std::string b =
        "0:02.000  PIN 4294967295  FF:FF  48 bits  FFFFFFFFFFFF  heard once, at a "
        "single position: may be chance\n";
    EXPECT_EQ(told_of(false), ".....0:00.000  " + a + "4 times\n" + b);
    EXPECT_EQ(told_of(true), "0:00.000  " + a + "once\n.." + b + ".0:05.000  " + a +
                                 "3 times\n..0:00.000  " + a + "4 times\n");
}

TEST(DecodeReport, TellsTimesAndFigures)
{
    EXPECT_EQ(time_text(3723.25), "1:02:03.250");
    EXPECT_EQ(time_text(3599), "59:59.000");
    tonelink_heard heard = burst_at(-0.25, 32); // the sound begins within it
    heard.first_sample = -11025;
    heard.level_dbfs = -23.46f;
    heard.snr_db = 3.25f;
    heard.clock_ppm = -12;
    EXPECT_EQ(
        line_of_figures(heard, "a.wav", report_form::text),
        "a.wav: 0:00.000  PIN 65535  FF:FF  32 bits  FFFFFFFF  -23.5 dBFS  3.2 dB over noise  "
        "-12.0 ppm  at a single position: may be chance\n");
    EXPECT_EQ(line_of_figures(heard, "", report_form::json),
              "{\"time\":0.0,\"bits\":32,\"message\":\"FFFFFFFF\",\"pin\":65535,"
              "\"octets\":\"FF:FF\",\"sample\":-11025,\"level_dbfs\":-23.5,\"snr_db\":3.3,"
              "\"clock_ppm\":-12.0,\"copies\":1,\"positions\":1,\"methods\":[\"exact\"]}\n");
    std::ranges::copy(std::string_view{"a\"\\b"}, heard.message);
    EXPECT_NE(line_of_burst(heard, report_form::text).find(R"(  text "a\"\\b"  at)"),
              std::string::npos);
}

} // namespace
} // namespace tonelink::tool
