#include "sound_file.h"

#include <algorithm>
#include <cmath>
#include <future>
#include <numeric>
#include <span>
#include <string_view>
#include <tuple>

#include <gtest/gtest.h>
#include <sndfile.hh>
#include <unistd.h>

#include "burst_shape.h"
#include "decode/decode_sound.h"
#include "errors.h"
#include "platform/scratch_folder.h"
#include "plot/resampled_sound.h"
#include "plot/sound_survey.h"
#include "spool_file.h"
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

/// A header that says what it likes, and a second of silence at most.
std::string wave_header(uint32_t rate, uint16_t channels, uint16_t bits, uint32_t length)
{
    std::string text = "RIFF____WAVEfmt ";
    const auto put = [&](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> 8 * i);
    };
    const uint32_t frame = uint32_t{channels} * bits / 8;
    for (const uint32_t word : {16u, 1u | uint32_t{channels} << 16, rate, rate * frame,
                                (frame & 0xFFFF) | uint32_t{bits} << 16})
        put(word, 4);
    text += "data";
    put(length, 4);
    return text + std::string(std::min<uint32_t>(length, 88200), '\0');
}

/// Why it cannot be read, as far as libsndfile says so.
std::string reason_of(const std::string &path)
{
    try {
        sound_reader sound{{path}};
    } catch (const failure &error) {
        const std::string said = error.what();
        return said.substr(said.find(": ") + 2);
    }
    return "";
}

TEST(SoundFile, FailuresSideBySideHaveReasonsOfTheirOwn)
{
    const std::vector<std::pair<std::string, std::string>> files{
        {folder.write("text", "no sound at all"), "Format not recognised."},
        {folder.write("none", wave_header(44100, 0, 16, 1000)), "Channel count is zero."},
        {folder.write("many", wave_header(44100, 2000, 16, 4000)), "Too many channels specified."},
        {folder.write("bits", wave_header(44100, 1, 77, 1000)),
         "File contains data in an unimplemented format."},
        {folder.write("good", wave_header(44100, 1, 16, 1000)), ""}};
    std::vector<std::future<int>> wrong;
    for (const auto &file : files)
        wrong.push_back(std::async(std::launch::async, [&file] {
            int others = 0;
            for (int i = 0; i < 1000; ++i) others += reason_of(file.first) == file.second ? 0 : 1;
            return others;
        }));
    for (std::size_t i = 0; i < files.size(); ++i) EXPECT_EQ(wrong[i].get(), 0) << files[i].first;
}

// Of what a header says, the rate alone is believed before there are samples; and not any.
TEST(SoundFile, HeadersThatLieCostNothing)
{
    constexpr uint32_t kMost = 0xFFFFFFFF;
    for (const auto &[rate, length, is_taken] : {std::tuple{44100u, kMost, true},
                                                 {41000u, kMost, false},
                                                 {173u, kMost, false},
                                                 {400000u, 1000u, false},
                                                 {0x7FFFFFFFu, kMost, false}}) {
        const sound_source sound{folder.write("liar", wave_header(rate, 1, 16, length))};
        SCOPED_TRACE(rate);
        sound_reader reader{sound};
        const auto decode = [&] { decode_sound(reader, {}, {}); };
        if (is_taken)
            EXPECT_NO_THROW(decode());
        else
            EXPECT_THROW(decode(), failure);
        if (rate < TONELINK_RECEIVER_HIGHEST_RATE)
            EXPECT_EQ(survey_sound(sound).samples, 44100);
        else
            EXPECT_THROW(survey_sound(sound), failure);
    }
}

TEST(SoundFile, KeepsNoMoreOfAPipeThanItsBound)
{
    const std::string text(100000, 'x');
    spool_file file{"it", 100001};
    file.put(text);
    file.put(std::string_view{"y"});
    std::string kept(200000, 0);
    kept.resize(static_cast<std::size_t>(
        std::max<ssize_t>(0, read(file.rewound().get(), kept.data(), kept.size()))));
    EXPECT_EQ(kept, text + 'y');
    EXPECT_THROW(file.put(std::string_view{"z"}), failure);
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
