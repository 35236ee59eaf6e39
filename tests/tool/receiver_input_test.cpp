#include "decode/receiver_input.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.hh>

#include "errors.h"
#include "modem/burst_format.h"
#include "platform/scratch_folder.h"
#include "plot/sound_survey.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

class ReceiverInput : public testing::Test {
protected:
    /// Writes a sound file and returns its name.
    std::string write(const test::sound &samples, int rate, int format, int channels = 1) const
    {
        const std::string path = folder_.file("sound");
        SndfileHandle file{path, SFM_WRITE, format, channels, rate};
        file.command(SFC_SET_CLIPPING, nullptr, SF_TRUE);
        EXPECT_EQ(file.write(samples.data(), std::ssize(samples)), std::ssize(samples));
        return path;
    }

    const test::scratch_folder folder_;
};

std::vector<int16_t> all_of(receiver_input &input)
{
    std::vector<int16_t> all;
    for (auto block = input.read(); !block.empty(); block = input.read())
        all.insert(all.end(), block.begin(), block.end());
    return all;
}

} // namespace

TEST_F(ReceiverInput, LeavesSamplesAsTheyAre)
{
    test::sound samples;
    std::vector<int16_t> expected;
    for (int s = -32768; s <= 32767; ++s) {
        samples.push_back(static_cast<float>(s) / 32768);
        expected.push_back(static_cast<int16_t>(s));
    }
    receiver_input input{{write(samples, 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}};
    EXPECT_EQ(all_of(input), expected);
    EXPECT_EQ(input.progress(), 1.0);

    // Channels are mixed to their mean.
    receiver_input mixed{{write({0.5, 0.25}, 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 2)}};
    EXPECT_EQ(all_of(mixed), std::vector<int16_t>{12288});

    // What is louder than full scale is cut; what is no number is silent.
    const test::sound odd = {2, -2, NAN, INFINITY, 0.5};
    receiver_input loud{{write(odd, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT)}};
    EXPECT_EQ(all_of(loud), (std::vector<int16_t>{32767, -32768, 0, 0, 16384}));
}

// Also where the format cannot: this one is read from its start alone.
TEST_F(ReceiverInput, SkipsSamples)
{
    test::sound samples(60000);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(i) / static_cast<float>(samples.size());
    for (const int format : {SF_FORMAT_WAV | SF_FORMAT_PCM_16, SF_FORMAT_AU | SF_FORMAT_G721_32}) {
        const std::string path = write(samples, 44100, format);
        receiver_input whole{{path}};
        const auto all = all_of(whole);
        for (const int64_t count : {1, 16384, 40000, 70000}) {
            receiver_input input{{path}};
            input.skip(count);
            const auto from = static_cast<std::size_t>(std::min(count, std::ssize(all)));
            const auto rest = input.read();
            ASSERT_EQ(rest.size(), std::min<std::size_t>(16384, all.size() - from)) << count;
            EXPECT_TRUE(std::ranges::equal(rest, std::span{all}.subspan(from, rest.size())));
        }
    }
}

// Decoded from what the receiver is given, and found in the sound as it is.
TEST_F(ReceiverInput, BringsBurstsOfAnyRateToTheReceiver)
{
    constexpr std::size_t kLead = 4410;
    test::sound sound(kLead, 0);
    test::mix(sound, test::burst_of(0x12673CA5), kLead, 0.25f);
    for (const int rate : {44100, 48000, 88200, 96000, 192000, 41000}) {
        SCOPED_TRACE(rate);
        const auto at_rate = test::resampled(sound, rate);
        const auto bursts =
            survey_sound({write(at_rate, rate, SF_FORMAT_FLAC | SF_FORMAT_PCM_24)}).bursts;
        ASSERT_EQ(bursts.size(), 1u);
        EXPECT_EQ(hex_of(bursts[0].message), "12673CA5");
        EXPECT_GT(bursts[0].fit, 0.7);
        EXPECT_NEAR(bursts[0].start_s, kLead / double{kAudioRate}, 0.0005);
    }
    receiver_input narrow{{write(sound, 32000, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}};
    EXPECT_FALSE(narrow.has_band());
    EXPECT_THROW(receiver_input({write(sound, 100, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}), failure);
}

} // namespace tonelink::tool
