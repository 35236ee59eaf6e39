#include "sound_file.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <numeric>
#include <span>
#include <thread>

#include <gtest/gtest.h>
#include <sndfile.hh>

#include "burst_shape.h"
#include "decode/decode_sound.h"
#include "errors.h"
#include "platform/scratch_folder.h"
#include "plot/resampled_sound.h"
#include "plot/sound_survey.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

constexpr int kWav16 = SF_FORMAT_WAV | SF_FORMAT_PCM_16;

const test::scratch_folder folder;

/// A sound file.
sound_source source(const test::sound &samples, int format, int rate = kAudioRate, int channels = 1)
{
    const std::string path = folder.file("sound");
    SndfileHandle file{path, SFM_WRITE, format, channels, rate};
    file.command(SFC_SET_CLIPPING, nullptr, SF_TRUE);
    file.write(samples.data(), std::ssize(samples));
    return {path};
}

std::vector<int16_t> all_of(const sound_source &sound)
{
    resampled_sound input{sound};
    std::vector<int16_t> all;
    for (auto block = input.read(); !block.empty(); block = input.read())
        all.insert(all.end(), block.begin(), block.end());
    return all;
}

TEST(SoundFile, LeavesSamplesAsTheyAre)
{
    std::vector<int16_t> every(65536);
    std::iota(every.begin(), every.end(), int16_t{-32768});
    test::sound samples(every.begin(), every.end());
    for (float &sample : samples) sample /= 32768;
    EXPECT_EQ(all_of(source(samples, kWav16)), every);
    // Channels are mixed to their mean.
    EXPECT_EQ(all_of(source({0.5, 0.25}, kWav16, kAudioRate, 2)), std::vector<int16_t>{12288});
    // What is louder than full scale is cut; what makes no sense is silent, in its channel alone.
    constexpr int kFloat = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    EXPECT_EQ(all_of(source({2, -2, NAN, INFINITY, 1001, -3e38f, 0.5, 1000}, kFloat)),
              (std::vector<int16_t>{32767, -32768, 0, 0, 0, 0, 16384, 32767}));
    const sound_source mixed = source({NAN, 0.5, 0.25, 0.25}, kFloat, kAudioRate, 2);
    EXPECT_EQ(all_of(mixed), (std::vector<int16_t>{8192, 8192}));
    sound_reader input{mixed};
    EXPECT_EQ(input.remark(), "");
    input.read();
    EXPECT_NE(input.remark().find(": 1 sample is no number"), std::string::npos);
}

// Also where the format cannot: this one is read from its start alone.
TEST(SoundFile, SkipsSamples)
{
    test::sound samples(60000);
    std::iota(samples.begin(), samples.end(), 0.0f);
    for (float &sample : samples) sample /= 60000;
    for (const int format : {kWav16, SF_FORMAT_AU | SF_FORMAT_G721_32}) {
        const sound_source sound = source(samples, format);
        const auto all = all_of(sound);
        for (const int64_t count : {1, 16384, 40000, 70000}) {
            resampled_sound input{sound};
            input.skip(count);
            const auto from = static_cast<std::size_t>(std::min(count, std::ssize(all)));
            const auto rest = std::span{all}.subspan(from);
            const auto block = input.read();
            EXPECT_EQ(block.empty(), rest.empty());
            EXPECT_TRUE(std::ranges::equal(block, rest.first(block.size()))) << count;
        }
    }
}

TEST(SoundFile, FailuresSideBySideHaveReasonsOfTheirOwn)
{
    const sound_source sound = source({0.5}, kWav16);
    const sound_source text{folder.file("text")};
    std::ofstream{text.path} << "no sound at all";
    const std::jthread beside{[&](const std::stop_token &stop) {
        while (!stop.stop_requested()) sound_reader{sound};
    }};
    for (int i = 0; i < 2000; ++i) {
        std::string said;
        try {
            sound_reader{text};
        } catch (const failure &error) {
            said = error.what();
        }
        ASSERT_TRUE(said.ends_with(": Format not recognised.")) << said;
    }
}

TEST(SoundFile, BringsBurstsOfAnyRateToTheReceiver)
{
    test::sound sound;
    test::mix(sound, test::burst_of(0x12673CA5), kAudioRate / 10, 0.25f);
    for (const int rate : {44100, 48000, 88200, 96000, 192000, 42000}) {
        SCOPED_TRACE(rate);
        const auto bursts = survey_sound(source(test::resampled(sound, rate),
                                                SF_FORMAT_FLAC | SF_FORMAT_PCM_24, rate))
                                .bursts;
        ASSERT_EQ(bursts.size(), 1u);
        EXPECT_EQ(hex_of(bursts[0].message), "12673CA5");
        EXPECT_GT(bursts[0].fit, 0.7);
        EXPECT_NEAR(bursts[0].start_s, 0.1, 0.0005);
    }
    for (const int rate : {32000, 100, 400000}) {
        sound_reader refused{source(sound, kWav16, rate)};
        EXPECT_THROW(decode_sound(refused, {}, {}), failure);
    }
}

} // namespace
} // namespace tonelink::tool
