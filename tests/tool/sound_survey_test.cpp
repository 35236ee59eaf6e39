#include "plot/sound_survey.h"

#include <sstream>

#include <gtest/gtest.h>

#include "decode/decode_report.h"
#include "decode/heard_bursts.h"
#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

const message_bits kShort(32, 1), kLong(48, 1);

TEST(SoundSurvey, PutsTogetherWhatWasFoundAndWhatWasDecoded)
{
    const auto seconds = [](double sample) { return sample / kAudioRate; };
    const std::vector<found_burst> found{
        {seconds(1440), 0.4},   // in the burst that the sound begins within, symbols off
        {seconds(50000), 0.5},  // decoded, too
        {seconds(80000), 0.6},  // not decoded
        {seconds(203170), 0.7}, // decoded, right behind one that was not found
    };
    // Began at a sample, give or take what the decoder does not know.
    const auto heard_at = [](int64_t sample, const message_bits &message) {
        const int64_t completed = sample - heard_burst{{}, 0, 0}.first_sample();
        return heard_burst{message, completed, completed};
    };
    const std::vector heard{heard_at(-3000, kShort), heard_at(50080, kLong),
                            heard_at(180000, kShort), heard_at(203090, kShort)};
    std::ostringstream told;
    for (const auto &[start_s, fit, message] : join_bursts(found, heard))
        told << start_s * kAudioRate << ' ' << fit << ' ' << message.size() << '\n';
    EXPECT_EQ(told.str(), "-3000 0 32\n50000 0.5 48\n80000 0.6 0\n180000 0 32\n203170 0.7 32\n");
}

TEST(HeardBursts, BurstsOfTwoMessagesStayApart)
{
    heard_bursts heard;
    heard.accept(kShort, 50000);
    heard.accept(kLong, 50080);
    heard.accept(kShort, 54000);
    EXPECT_FALSE(heard.take(61585)); // may go on
    std::string told;
    for (const int64_t sample : {int64_t{61586}, INT64_MAX})
        told += line_of_burst(heard.take(sample).value(), report_form::text);
    EXPECT_EQ(told, "0:00.654  PIN 65535  FF:FF  32 bits  FFFFFFFF\n"
                    "0:00.611  PIN 4294967295  FF:FF  48 bits  FFFFFFFFFFFF\n");
    EXPECT_EQ(time_text(int64_t{3723} * kAudioRate + kAudioRate / 4), "1:02:03.250");
    EXPECT_EQ(time_text(int64_t{3599} * kAudioRate), "59:59.000");

    // One that was told early goes on, and is not told again.
    heard.accept(kShort, 100000);
    EXPECT_TRUE(heard.take_early());
    heard.accept(kShort, 100080);
    EXPECT_FALSE(heard.take_early());
    heard.accept(kLong, 100160);
    EXPECT_EQ(heard.take(INT64_MAX).value().message, kLong);
    EXPECT_FALSE(heard.take(INT64_MAX));
}

} // namespace
} // namespace tonelink::tool
