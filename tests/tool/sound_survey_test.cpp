#include "plot/sound_survey.h"

#include <sstream>

#include <gtest/gtest.h>

#include "burst_shape.h"

namespace tonelink::tool {
namespace {

TEST(SoundSurvey, PutsTogetherWhatWasFoundAndWhatWasDecoded)
{
    const auto seconds = [](double sample) { return sample / kAudioRate; };
    const std::vector<found_burst> found{
        {seconds(1440), 0.4},   // in the burst that the sound begins within, symbols off
        {seconds(50000), 0.5},  // decoded, too
        {seconds(80000), 0.6},  // not decoded
        {seconds(203170), 0.7}, // decoded, right behind one that was not found
    };
    const auto heard_at = [&](double sample, int32_t nbits) {
        tonelink_heard heard{};
        heard.nbits = nbits;
        heard.seconds = seconds(sample);
        return heard;
    };
    const std::vector heard{heard_at(-3000, 32), heard_at(50080, 48), heard_at(180000, 32),
                            heard_at(203090, 32)};
    std::ostringstream told;
    for (const auto &[start_s, fit, message] : join_bursts(found, heard))
        told << start_s * kAudioRate << ' ' << fit << ' ' << message.size() << '\n';
    EXPECT_EQ(told.str(), "-3000 0 32\n50000 0.5 48\n80000 0.6 0\n180000 0 32\n203170 0.7 32\n");
}

} // namespace
} // namespace tonelink::tool
