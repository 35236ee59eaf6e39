#include "receiver_input.h"

#include <algorithm>
#include <cmath>
#include <string>

#include <gtest/gtest.h>
#include <sndfile.h>

#include "errors.h"
#include "heard_messages.h"
#include "modem/heard_message.h"
#include "platform/scratch_folder.h"
#include "sound_decoder.h"
#include "test_sounds.h"

namespace tonelink::tool {
namespace {

class ReceiverInput : public testing::Test {
protected:
    /// Writes a sound file and returns its name.
    std::string write(const std::vector<float> &samples, int rate, int format, int channels = 1)
    {
        const std::string path = folder_.file("sound");
        SF_INFO info{};
        info.samplerate = rate;
        info.channels = channels;
        info.format = format;
        SNDFILE *file = sf_open(path.c_str(), SFM_WRITE, &info);
        EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
        sf_command(file, SFC_SET_CLIPPING, nullptr, SF_TRUE);
        sf_write_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
        sf_close(file);
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
    std::vector<float> samples;
    for (int s = -32768; s <= 32767; ++s) samples.push_back(static_cast<float>(s) / 32768);
    receiver_input input{{write(samples, 44100, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}};
    const auto all = all_of(input);
    ASSERT_EQ(all.size(), samples.size());
    for (int s = -32768; s <= 32767; ++s) ASSERT_EQ(all[static_cast<std::size_t>(s + 32768)], s);
    EXPECT_EQ(input.progress(), 1.0);

    // What is louder than full scale is cut; what is no number is silent.
    const std::vector<float> odd = {2, -2, NAN, INFINITY, 0.5};
    receiver_input loud{{write(odd, 44100, SF_FORMAT_WAV | SF_FORMAT_FLOAT)}};
    EXPECT_EQ(all_of(loud), (std::vector<int16_t>{32767, -32768, 0, 0, 16384}));
}

TEST_F(ReceiverInput, BringsBurstsOfAnyRateToTheReceiver)
{
    constexpr uint32_t kMessage = 0x12673CA5;
    constexpr std::size_t kLead = 4410;
    test::sound sound(kLead, 0);
    test::mix(sound, test::burst_of(kMessage), kLead, 0.25f);
    for (const int rate : {44100, 48000, 88200, 96000, 192000, 41000}) {
        SCOPED_TRACE(rate);
        const auto at_rate = rate == 44100 ? sound : test::resampled(sound, rate);
        receiver_input input{{write(at_rate, rate, SF_FORMAT_FLAC | SF_FORMAT_PCM_24)}};
        EXPECT_TRUE(input.has_band());
        heard_messages heard;
        sound_decoder decoder{message_lengths::both, [&](const message_bits &message, int64_t at) {
                                  heard.accept(message, at);
                              }};
        for (auto block = input.read(); !block.empty(); block = input.read()) decoder.put(block);
        decoder.finish();
        while (heard.take_burst(INT64_MAX)) continue;
        ASSERT_EQ(heard.messages().size(), 1u);
        const auto &line = heard.messages().front();
        EXPECT_EQ(hex_of(line.message), "12673CA5");
        EXPECT_EQ(line.bursts, 1);
        EXPECT_GT(line.positions, 5);
        EXPECT_NEAR(static_cast<double>(line.start), kLead, 100);
    }
    receiver_input narrow{{write(sound, 32000, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}};
    EXPECT_FALSE(narrow.has_band());
    EXPECT_THROW(receiver_input({write(sound, 100, SF_FORMAT_WAV | SF_FORMAT_PCM_16)}), failure);
}

TEST(HeardMessages, CountsBurstsAndPositions)
{
    const message_bits a(32, 0);
    const message_bits b(48, 1);
    heard_messages heard;
    for (int64_t at = 50000; at < 51000; at += 80) heard.accept(a, at);
    EXPECT_FALSE(heard.take_burst(60000)); // may go on
    heard.accept(b, 61000);
    const auto first = heard.take_burst(62000);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->message, a);
    EXPECT_EQ(first->first, 50000);
    EXPECT_EQ(first->last, 50960);
    heard.accept(a, 73170); // the next copy
    heard.accept(a, 73250);
    heard.accept(a, 96340);
    int bursts = 0;
    while (heard.take_burst(INT64_MAX)) ++bursts;
    EXPECT_EQ(bursts, 3);

    ASSERT_EQ(heard.messages().size(), 2u);
    EXPECT_EQ(heard.messages()[0].message, a);
    EXPECT_EQ(heard.messages()[0].bursts, 3);
    EXPECT_EQ(heard.messages()[0].positions, 16);
    EXPECT_EQ(heard.messages()[0].start, first->start());
    EXPECT_EQ(heard.messages()[1].bursts, 1);
}

} // namespace tonelink::tool
