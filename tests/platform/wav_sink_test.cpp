// What a WAV file holds of the sound, and at which level.

#include <atomic>
#include <cstdlib>

#include "support/signals.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

class WavSink : public testing::Test {
protected:
    void SetUp() override
    {
        play_to(path);
        ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    }

    static void play_to(const std::string &file)
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + file).c_str()), 0);
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
    const sample_row sound = noise(kPeriodSamples, /*seed=*/1);
};

/// Ends the process while a callback feeds the device and a listener is told of volumes.
[[noreturn]] void end_while_playing(const sample_row &period)
{
    // Not destroyed at the end: the device still uses them.
    static const auto &out = *new test_output;
    static auto &call =
        *new stream_callback{[sound = period](audio_out_h, std::size_t) { out.write(sound); }};
    set_callback(out, call);
    sound_manager_set_master_volume_changed_cb([](unsigned int, void *) {}, nullptr);
    audio_out_prepare(out);
    for (int volume = 0; tonelink_host_get_samples_played() < 4 * kPeriodSamples; volume = !volume)
        sound_manager_set_master_volume(volume);
    std::exit(0);
}

} // namespace

TEST_F(WavSink, LevelIsThatOfTheMomentAndTheEndOfAnOutputEndsAWrite)
{
    const sample_row a_minute(std::size_t{kRate} * 60, 1000);
    std::atomic<int> written{-1};
    stream_callback call = [&](audio_out_h out, std::size_t) {
        if (written < 0) written = audio_out_write(out, a_minute.data(), 2 * kRate * 60);
    };
    {
        const test_output out;
        ASSERT_EQ(set_callback(out, call), 0);
        ASSERT_EQ(audio_out_prepare(out), 0);
        wait_for_samples(3 * kPeriodSamples);
        ASSERT_EQ(sound_manager_set_volume(1, 0), 0);
        wait_for_samples(tonelink_host_get_samples_played() + 3 * kPeriodSamples);
    }
    EXPECT_EQ(host_threads(), 0);
    const auto heard = recorded(path);
    EXPECT_LT(heard.size(), a_minute.size());
    EXPECT_EQ(written, static_cast<int>(2 * heard.size()));
    EXPECT_EQ(tonelink_host_get_samples_played(), heard.size());
    const auto loud = static_cast<std::size_t>(std::ranges::count(heard, 1000));
    EXPECT_GE(loud, 3 * kPeriodSamples);
    EXPECT_EQ(loud % kPeriodSamples, 0u);
    sample_row expected(loud, 1000);
    expected.resize(heard.size());
    EXPECT_EQ(heard, expected);
    EXPECT_LT(loud, heard.size());
}

TEST_F(WavSink, LaterOutputsAppendOneAtATime)
{
    folder.write("sound.wav", std::string(1000, 'x')); // what was there before
    play(sound);
    EXPECT_EQ(recorded(path), sound);
    const auto expect_refusal = [&](int rate, int result, const std::string &reason) {
        EXPECT_EQ(audio_out_prepare(test_output{rate}), result);
        EXPECT_EQ(last_error(), reason);
    };
    {
        const test_output second;
        ASSERT_EQ(audio_out_prepare(second), 0);
        expect_refusal(kRate, -26214398,
                       "the sound file \"" + path + "\" is being written by another output");
        second.write(sound);
    }
    expect_refusal(48000, kNotOpened,
                   "cannot append to the sound file \"" + path +
                       "\": it is not mono at 48000 Hz in 16 bits");
    auto twice = sound;
    twice.insert(twice.end(), sound.begin(), sound.end());
    EXPECT_EQ(recorded(path), twice);

    std::filesystem::remove(path); // made anew, at any rate
    play(sound, 48000);
    EXPECT_EQ(recorded(path, 48000), sound);

    // Another file is made anew, even where it takes the place of the first on the disk.
    std::filesystem::remove(path);
    const auto other_path = folder.write("other.wav", "what was there before");
    play_to(other_path);
    play(sound);
    EXPECT_EQ(recorded(other_path), sound);
}

// A program that ends with its device playing: it ends, and its file is whole.
TEST_F(WavSink, ProcessCanEndWhileItPlays)
{
    EXPECT_EXIT(end_while_playing(sound), testing::ExitedWithCode(0), "");
    const auto heard = recorded(path);
    ASSERT_GE(heard.size(), 4 * kPeriodSamples);
    for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], sound[i % kPeriodSamples]);
}

} // namespace tonelink::test
