// What a WAV file holds of the sound, and at which level.

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <numeric>
#include <thread>

#include <sys/resource.h>

#include "scratch_folder.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kHeardType = 1;

class WavSink : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + path).c_str()), 0);
        ASSERT_EQ(sound_manager_set_volume(kHeardType, 15), 0);
    }

    /// Plays a row on an output of its own.
    static void play(const sample_row &samples)
    {
        const test_output out;
        ASSERT_EQ(audio_out_prepare(out), 0);
        ASSERT_EQ(out.write(samples), static_cast<int>(2 * samples.size()));
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
};

/// Ends the process while a callback feeds the device and a listener is told of volumes.
[[noreturn]] void end_while_playing()
{
    // Not destroyed at the end: the callback still reads it.
    static const auto &sound = *new sample_row{test_sound(kPeriodSamples)};
    audio_out_h out = nullptr;
    audio_out_create_new(kRate, 128, 113, &out);
    audio_out_set_stream_cb(
        out,
        [](audio_out_h o, size_t, void *) { audio_out_write(o, sound.data(), 2 * kPeriodSamples); },
        nullptr);
    sound_manager_set_master_volume_changed_cb([](unsigned int, void *) {}, nullptr);
    const auto enough = tonelink_host_get_samples_played() + 4 * kPeriodSamples;
    audio_out_prepare(out);
    for (int volume = 0; tonelink_host_get_samples_played() < enough; volume = !volume)
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
    std::size_t at = 0;
    for (const std::size_t length :
         {std::size_t{1}, std::size_t{440}, std::size_t{3000}, every_value.size() - 3441}) {
        const auto begin = every_value.begin() + static_cast<std::ptrdiff_t>(at);
        const sample_row part(begin, begin + static_cast<std::ptrdiff_t>(length));
        ASSERT_EQ(out.write(part), static_cast<int>(2 * length));
        at += length;
        // Whole at any time: nothing has been closed.
        ASSERT_EQ(recorded(path),
                  sample_row(every_value.begin(), begin + static_cast<std::ptrdiff_t>(length)));
    }
}

TEST_F(WavSink, SoundsAtTheLevelOfSoundType1)
{
    const sample_row sound{-32768, -15, -8, -7, -1, 0, 1, 7, 8, 100, 32767};
    struct expectation {
        int level, floor; // -1: none
        sample_row heard;
    };
    const sample_row silence(sound.size(), 0);
    const std::vector<expectation> cases = {
        {15, -1, sound},
        {0, -1, silence},
        {1, -1, {-2185, -1, -1, 0, 0, 0, 0, 0, 1, 7, 2184}},
        {11, -1, {-24030, -11, -6, -5, -1, 0, 1, 5, 6, 73, 24029}},
        {0, 15, sound},
        {1, 11, {-24030, -11, -6, -5, -1, 0, 1, 5, 6, 73, 24029}},
        {15, 1, sound},
        {0, 0, silence},
    };
    for (const auto &[level, floor, heard] : cases) {
        ASSERT_EQ(sound_manager_set_volume(kHeardType, level), 0);
        if (floor >= 0) {
            ASSERT_EQ(sound_manager_set_ultrasound_volume_min(floor), 0);
        }
        EXPECT_EQ(tonelink_host_get_heard_level(), std::max(level, floor));
        std::filesystem::remove(path);
        play(sound);
        EXPECT_EQ(recorded(path), heard) << "level " << level << ", floor " << floor;
        if (floor >= 0) {
            ASSERT_EQ(sound_manager_unset_ultrasound_volume_min(), 0);
        }
    }
}

TEST_F(WavSink, LevelIsThatOfTheMoment)
{
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    const auto before = tonelink_host_get_samples_played();
    const auto wait_for_periods = [&](std::size_t count) {
        while (tonelink_host_get_samples_played() - before < count * kPeriodSamples)
            std::this_thread::sleep_for(std::chrono::milliseconds{1});
    };
    std::thread writer{[&] { out.write(sample_row(std::size_t{kRate} * 60, 1000)); }};
    wait_for_periods(3);
    ASSERT_EQ(sound_manager_set_volume(kHeardType, 0), 0);
    const auto at_change = (tonelink_host_get_samples_played() - before) / kPeriodSamples;
    wait_for_periods(at_change + 3);
    ASSERT_EQ(audio_out_unprepare(out), 0);
    writer.join();

    const auto heard = recorded(path);
    const auto loud = static_cast<std::size_t>(std::count(heard.begin(), heard.end(), 1000));
    EXPECT_GE(loud, 3 * kPeriodSamples);
    EXPECT_LT(loud, heard.size());
    EXPECT_EQ(loud % kPeriodSamples, 0u);
    EXPECT_TRUE(std::all_of(heard.begin() + static_cast<std::ptrdiff_t>(loud), heard.end(),
                            [](std::int16_t sample) { return sample == 0; }));
}

TEST_F(WavSink, LaterOutputsAppend)
{
    folder.write("sound.wav", "what was there before");
    const auto sound = test_sound(1000);
    play(sound);
    EXPECT_EQ(recorded(path), sound);
    play(sound);
    auto twice = sound;
    twice.insert(twice.end(), sound.begin(), sound.end());
    EXPECT_EQ(recorded(path), twice);

    const test_output other{48000};
    EXPECT_EQ(audio_out_prepare(other), -26214399);
    EXPECT_EQ(last_error(), "cannot append to the sound file \"" + path +
                                "\": it is not mono at 48000 Hz in 16 bits");
    EXPECT_EQ(recorded(path), twice);

    std::filesystem::remove(path); // made anew, at any rate
    EXPECT_EQ(audio_out_prepare(other), 0);
    EXPECT_EQ(other.write(sound), 2000);
    EXPECT_EQ(recorded(path, 48000), sound);
    ASSERT_EQ(audio_out_unprepare(other), 0);

    // Another file is made anew, even where it takes the place of the first on the disk.
    std::filesystem::remove(path);
    const auto other_path = folder.write("other.wav", "what was there before");
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + other_path).c_str()), 0);
    play(sound);
    EXPECT_EQ(recorded(other_path), sound);
}

TEST_F(WavSink, OneOutputAtATime)
{
    const test_output first;
    const test_output second;
    ASSERT_EQ(audio_out_prepare(first), 0);
    EXPECT_EQ(audio_out_prepare(second), -26214398);
    EXPECT_EQ(last_error(), "the sound file \"" + path + "\" is being written by another output");
    ASSERT_EQ(audio_out_unprepare(first), 0);
    EXPECT_EQ(audio_out_prepare(second), 0);
}

TEST_F(WavSink, UnusablePathsFailWithWords)
{
    for (const auto &bad :
         {folder.file("missing/sound.wav"), folder.file(""), std::string{"/dev/null"}}) {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + bad).c_str()), 0);
        const test_output out;
        EXPECT_EQ(audio_out_prepare(out), -26214399) << bad;
        EXPECT_EQ(last_error().find("cannot open the sound file \"" + bad + "\": "), 0u)
            << last_error();
    }
}

TEST_F(WavSink, FullDiskIsToldOnceAndStays)
{
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto sound = test_sound(3000);
    const test_output out;
    ASSERT_EQ(audio_out_prepare(out), 0);
    rlimit small = before;
    small.rlim_cur = 44 + 2 * 1000;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const int first = out.write(sound);
    const auto words = last_error();
    const int second = out.write(sound);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);

    EXPECT_EQ(first, -26214399);
    EXPECT_EQ(second, -26214399);
    EXPECT_EQ(words, "cannot write the sound file \"" + path + "\": File too large");
    EXPECT_EQ(audio_out_unprepare(out), 0);
    const auto heard = recorded(path);
    EXPECT_EQ(heard,
              sample_row(sound.begin(), sound.begin() + static_cast<std::ptrdiff_t>(heard.size())));
    EXPECT_GE(heard.size(), 2 * kPeriodSamples);
}

// A program that ends with its device playing: it ends, and its file is whole.
TEST_F(WavSink, ProcessCanEndWhileItPlays)
{
    EXPECT_EXIT(end_while_playing(), testing::ExitedWithCode(0), "");
    const auto sound = test_sound(kPeriodSamples);
    const auto heard = recorded(path);
    ASSERT_GE(heard.size(), 4 * kPeriodSamples);
    for (std::size_t i = 0; i < heard.size(); ++i) ASSERT_EQ(heard[i], sound[i % sound.size()]);
}

} // namespace tonelink::test
