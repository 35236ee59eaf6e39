// What a WAV file holds of the sound, and at which level.

#include <cstdlib>
#include <numeric>

#include "support/signals.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kHeardType = 1;
constexpr int kNotOpened = -26214399;

class WavSink : public testing::Test {
protected:
    void SetUp() override
    {
        play_to(path);
        ASSERT_EQ(sound_manager_set_volume(kHeardType, 15), 0);
    }

    static void play_to(const std::string &file)
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + file).c_str()), 0);
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
    const sample_row sound = noise(3000, /*seed=*/1);
};

/// Ends the process while a callback feeds the device and a listener is told of volumes.
[[noreturn]] void end_while_playing()
{
    // Not destroyed at the end: the callback still reads it.
    static const auto &period = *new sample_row{noise(kPeriodSamples, /*seed=*/1)};
    audio_out_h out = nullptr;
    audio_out_create_new(kRate, 128, 113, &out);
    audio_out_set_stream_cb(
        out,
        [](audio_out_h o, size_t, void *) {
            audio_out_write(o, period.data(), 2 * kPeriodSamples);
        },
        nullptr);
    sound_manager_set_master_volume_changed_cb([](unsigned int, void *) {}, nullptr);
    audio_out_prepare(out);
    for (int volume = 0; tonelink_host_get_samples_played() < 4 * kPeriodSamples; volume = !volume)
        sound_manager_set_master_volume(volume);
    std::exit(0);
}

} // namespace

TEST_F(WavSink, HoldsWhatWasWritten)
{
    sample_row every_value(65536);
    std::iota(every_value.begin(), every_value.end(), std::int16_t{-32768});
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    std::span<const std::int16_t> left = every_value;
    for (const std::size_t length : {1u, 440u, 3000u, 62095u}) {
        ASSERT_EQ(out.write(left.first(length)), static_cast<int>(2 * length));
        left = left.subspan(length);
        // Whole at any time: nothing has been closed.
        const auto written = std::span{every_value}.first(every_value.size() - left.size());
        ASSERT_TRUE(std::ranges::equal(recorded(path), written));
    }
}

TEST_F(WavSink, LevelIsThatOfTheMomentAndAStopEndsAWrite)
{
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    const sample_row a_minute(std::size_t{kRate} * 60, 1000);
    int written = 0;
    std::thread writer{[&] { written = out.write(a_minute); }};
    wait_for_samples(3 * kPeriodSamples);
    ASSERT_EQ(sound_manager_set_volume(kHeardType, 0), 0);
    wait_for_samples(tonelink_host_get_samples_played() + 3 * kPeriodSamples);
    ASSERT_EQ(audio_out_unprepare(out), 0);
    writer.join();

    const auto heard = recorded(path);
    EXPECT_LT(heard.size(), a_minute.size());
    EXPECT_EQ(written, static_cast<int>(2 * heard.size()));
    const auto change = std::ranges::find(heard, 0);
    const auto loud = static_cast<std::size_t>(change - heard.begin());
    EXPECT_GE(loud, 3 * kPeriodSamples);
    EXPECT_LT(loud, heard.size());
    EXPECT_EQ(loud % kPeriodSamples, 0u);
    EXPECT_EQ(std::count(change, heard.end(), 0), heard.end() - change);
}

TEST_F(WavSink, LaterOutputsAppendOneAtATime)
{
    folder.write("sound.wav", "what was there before");
    play(sound);
    EXPECT_EQ(recorded(path), sound);
    const auto expect_refusal = [&](int rate, int result, const std::string &reason) {
        EXPECT_EQ(audio_out_prepare(test_output{rate}), result);
        EXPECT_EQ(last_error(), reason);
    };
    auto twice = sound;
    twice.insert(twice.end(), sound.begin(), sound.end());
    {
        const test_output second;
        ASSERT_EQ(audio_out_prepare(second), 0);
        expect_refusal(kRate, -26214398,
                       "the sound file \"" + path + "\" is being written by another output");
        EXPECT_EQ(second.write(sound), static_cast<int>(2 * sound.size()));
    }
    expect_refusal(48000, kNotOpened,
                   "cannot append to the sound file \"" + path +
                       "\": it is not mono at 48000 Hz in 16 bits");
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
    EXPECT_EXIT(end_while_playing(), testing::ExitedWithCode(0), "");
    const auto heard = recorded(path);
    ASSERT_GE(heard.size(), 4 * kPeriodSamples);
    const auto period = noise(kPeriodSamples, /*seed=*/1);
    for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], period[i % kPeriodSamples]);
}

} // namespace tonelink::test
