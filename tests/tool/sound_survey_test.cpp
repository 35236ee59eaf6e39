#include "plot/sound_survey.h"

#include <gtest/gtest.h>

#include "decode/decode_report.h"
#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

/// A decoded burst that began at a sample, give or take what the decoder does not know.
heard_burst heard_at(int64_t sample, const message_bits &message)
{
    heard_burst burst{message, 0, 0};
    burst.first = burst.last = sample - burst.first_sample();
    return burst;
}

double seconds(int64_t sample) { return static_cast<double>(sample) / kAudioRate; }

TEST(SoundSurvey, PutsTogetherWhatWasFoundAndWhatWasDecoded)
{
    const message_bits a(32, 1), b(48, 1);
    const std::vector<found_burst> found{
        {seconds(1440), 0.4},   // in the burst that the sound begins within, symbols off
        {seconds(50000), 0.5},  // decoded, too
        {seconds(80000), 0.6},  // not decoded
        {seconds(203170), 0.7}, // decoded, right behind one that was not found
    };
    const std::vector<sound_burst> expected{{seconds(-3000), 0, a},
                                            {seconds(50000), 0.5, b},
                                            {seconds(80000), 0.6, {}},
                                            {seconds(180000), 0, a},
                                            {seconds(203170), 0.7, a}};
    const auto bursts = join_bursts(found, std::vector{heard_at(-3000, a), heard_at(50080, b),
                                                       heard_at(180000, a), heard_at(203090, a)});
    ASSERT_EQ(bursts.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(bursts[i].start_s, expected[i].start_s) << i;
        EXPECT_EQ(bursts[i].fit, expected[i].fit) << i;
        EXPECT_EQ(bursts[i].message, expected[i].message) << i;
    }
}

TEST(HeardMessages, BurstsOfTwoMessagesStayApart)
{
    const message_bits a(32, 1), b(48, 1);
    heard_messages heard;
    heard.accept(a, 50000);
    heard.accept(b, 50080);
    heard.accept(a, 50160);
    EXPECT_FALSE(heard.take_burst(61585)); // may go on
    const auto first = heard.take_burst(61586);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->message, a);
    EXPECT_EQ(first->last, 50160);
    const auto second = heard.take_burst(INT64_MAX);
    ASSERT_TRUE(second);
    EXPECT_EQ(second->message, b);
    // The first burst of a message tells its time; a single position is told apart.
    const auto lines = heard.messages();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].start, first->start());
    EXPECT_EQ(lines[0].positions, 2);
    EXPECT_EQ(line_of(lines[0], "", report_form::text).find("chance"), std::string::npos);
    EXPECT_NE(line_of(lines[1], "", report_form::text).find("may be chance"), std::string::npos);
    EXPECT_EQ(time_text(int64_t{3723} * kAudioRate + kAudioRate / 4), "1:02:03.250");
    EXPECT_EQ(time_text(int64_t{3599} * kAudioRate), "59:59.000");
}

} // namespace
} // namespace tonelink::tool
