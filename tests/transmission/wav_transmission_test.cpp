// A transmission recorded into a file, sample by sample.

#include <algorithm>
#include <thread>

#include "platform/scratch_folder.h"
#include "tonelink/service.h"
#include "transmission/pairing_bursts.h"

namespace tonelink::test {

namespace {

class WavTransmission : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + path).c_str()), 0);
        prepare_pairing();
    }

    void TearDown() override { EXPECT_EQ(host_threads(), 0); }

    static int volume()
    {
        int value = -1;
        EXPECT_EQ(sound_manager_get_volume(1, &value), 0);
        return value;
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
};

/// The sample that is heard of s at a level of sound type 1.
int16_t at_level(int s, int level)
{
    return static_cast<int16_t>((2 * s * level + (s < 0 ? -15 : 15)) / 30);
}

} // namespace

TEST_F(WavTransmission, IsFiveCopiesAWrite)
{
    std::size_t heard = 0;
    for (const auto &f : families()) {
        SCOPED_TRACE(f.name);
        transmit(f, 2);
        const auto all = recorded(path);
        ASSERT_EQ(all.size() % kWrite, 0u); // what has been begun is played to its end
        const auto samples = std::span{all}.subspan(heard);
        ASSERT_GE(samples.size(), 2 * kWrite);
        // At volume 15: unchanged.
        EXPECT_EQ(hash_of_burst(samples), heard == 0 ? kFirstBurst : kSecondBurst);
        EXPECT_TRUE(std::equal(samples.begin() + kBurst, samples.end(), samples.begin()));
        heard = all.size();

        EXPECT_EQ(volume(), 9);
        EXPECT_EQ(tonelink_host_get_ultrasound_floor(), -1);
        EXPECT_EQ(tonelink_host_get_heard_level(), 9);
    }
}

TEST_F(WavTransmission, FollowsTheMasterVolume)
{
    ASSERT_EQ(families()[0].start(2), 1);
    wait_for_samples(kBurst + 1);
    EXPECT_EQ(volume(), 15);
    EXPECT_EQ(tonelink_host_get_ultrasound_floor(), 10);
    ASSERT_EQ(sound_manager_set_master_volume(55), 0); // the listener is told on its own thread
    while (volume() != 3 || tonelink_host_get_ultrasound_floor() != -1) std::this_thread::yield();
    wait_for_samples(tonelink_host_get_samples_played() + kBurst);
    ASSERT_EQ(families()[0].stop(), 1);
    EXPECT_EQ(volume(), 9);

    // Between the volume and the floor there is a short while at the floor's level, 10.
    const auto samples = recorded(path);
    ASSERT_EQ(hash_of_burst(samples), kFirstBurst);
    std::vector<int> levels;
    for (std::size_t begin = 0; begin < samples.size(); begin += kPeriodSamples) {
        const auto end = std::min(begin + kPeriodSamples, samples.size());
        const auto is_at = [&](int level) {
            for (auto i = begin; i < end; ++i)
                if (samples[i] != at_level(samples[i % kBurst], level)) return false;
            return true;
        };
        const int level = is_at(15) ? 15 : is_at(10) ? 10 : is_at(3) ? 3 : -1;
        if (levels.empty() || levels.back() != level) levels.push_back(level);
    }
    std::erase(levels, 10);
    EXPECT_EQ(levels, (std::vector{15, 3}));
}

TEST_F(WavTransmission, PlaysAtTheRateOfTheNextStart)
{
    ASSERT_EQ(set_tx_sample_rate(48000), 1);
    transmit(families()[0], 1);
    EXPECT_EQ(hash_of_burst(recorded(path, 48000)), kFirstBurst);
}

TEST_F(WavTransmission, OfAFileThatCannotBeMadeDoesNotStart)
{
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + folder.file("no/such.wav")).c_str()), 0);
    for (const auto &f : families()) {
        EXPECT_EQ(f.start(2), 0);
        EXPECT_NE(last_error().find("such.wav"), std::string::npos);
        EXPECT_EQ(f.stop(), 0);
    }
    EXPECT_EQ(volume(), 9);
    ASSERT_EQ(tonelink_host_set_audio("null"), 0);
    transmit(families()[1], 1);
    EXPECT_EQ(volume(), 9);
}

} // namespace tonelink::test
