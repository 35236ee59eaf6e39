#include "decode/sound_report.h"

#include <gtest/gtest.h>

#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

const message_bits kA(32, 1), kB(48, 1);

heard_burst burst_at(double seconds, const message_bits &message)
{
    const auto sample = static_cast<int64_t>(seconds * kAudioRate) - heard_burst{}.first_sample();
    return {message, sample, sample};
}

TEST(RecentMessages, EachTransmissionCountsItsOwn)
{
    recent_messages recent;
    std::vector<int64_t> counts;
    for (const auto &[seconds, message] : std::initializer_list<std::pair<double, message_bits>>{
             {0, kA}, {0.6, kB}, {1.2, kA}, {4.1, kB}, {4.3, kA}, {6.5, kB}, {7.5, kA}})
        counts.push_back(recent.hear(burst_at(seconds, message)));
    EXPECT_EQ(counts, (std::vector<int64_t>{1, 1, 2, 1, 1, 2, 1}));
}

/// The lines of a sound with one message four times, twice after a pause, and another once, in
/// between at a single position.
std::string told_of(bool is_stream)
{
    std::string told;
    sound_report report{"", report_form::text, is_stream,
                        [&](const std::string &line) { told += line; }};
    for (const auto &[seconds, message] : std::initializer_list<std::pair<double, message_bits>>{
             {0, kA}, {1, kA}, {2, kB}, {5, kA}, {6, kA}}) {
        for (int i = message == kA ? 3 : 1; i > 0; --i) report.accept(message);
        report.add(burst_at(seconds, message));
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

} // namespace
} // namespace tonelink::tool
