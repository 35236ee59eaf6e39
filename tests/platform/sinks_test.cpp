// What a WAV file and an ALSA device hold of the sound, and at which level. On a machine without a
// sound card the device is ALSA's `file` plug-in over `null`.

#include <atomic>
#include <cerrno>
#include <csignal>

#include <alsa/asoundlib.h>
#include <dlfcn.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/signals.h"
#include "test_output.h"

// What the ALSA device answers next in place of taking samples; 0: nothing special.
static std::atomic<int> next_answer{0}, writes{0};

// Goes before the ALSA library's own, to which it passes on.
extern "C" snd_pcm_sframes_t snd_pcm_writei(snd_pcm_t *pcm, const void *buffer,
                                            snd_pcm_uframes_t size)
{
    static const auto real =
        reinterpret_cast<decltype(&snd_pcm_writei)>(dlsym(RTLD_NEXT, "snd_pcm_writei"));
    ++writes;
    // An error that does not last is answered once, in the midst of a sound.
    if (next_answer == -EPIPE ? writes % 5 == 0 : next_answer < 0) return next_answer;
    return real(pcm, buffer, size);
}

namespace tonelink::test {

namespace {

class Sinks : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + path).c_str()), 0);
        ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
    const sample_row sound = noise(kRate / 10, /*seed=*/1);
};

} // namespace

TEST_F(Sinks, HearTheLevelOfTheMomentUntilTheOutputEnds)
{
    const sample_row a_minute(std::size_t{kRate} * 60, 1000);
    std::atomic<int> written{-1};
    stream_callback call = [&](audio_out_h o, std::size_t) {
        if (written < 0) written = audio_out_write(o, a_minute.data(), 2 * kRate * 60);
    };
    const test_output out;
    ASSERT_EQ(set_callback(out, call), 0);
    ASSERT_EQ(audio_out_prepare(out), 0);
    wait_for_samples(3 * kPeriodSamples);
    ASSERT_EQ(sound_manager_set_volume(1, 0), 0);
    wait_for_samples(tonelink_host_get_samples_played() + 3 * kPeriodSamples);
    ASSERT_EQ(audio_out_destroy(out), 0);
    const auto heard = recorded(path);
    EXPECT_EQ(std::tuple(written.load(), tonelink_host_get_samples_played(), host_threads()),
              std::tuple(static_cast<int>(2 * heard.size()), heard.size(), 0));
    EXPECT_LT(heard.size(), a_minute.size());
    const auto loud = static_cast<std::size_t>(std::ranges::count(heard, 1000));
    EXPECT_TRUE(loud >= 3 * kPeriodSamples && loud < heard.size() && loud % kPeriodSamples == 0);
    EXPECT_TRUE(std::ranges::is_sorted(heard, std::greater{})); // silent from then on
    EXPECT_EQ(loud + static_cast<std::size_t>(std::ranges::count(heard, 0)), heard.size());
}

TEST_F(Sinks, FileIsWholeAndAppendedToByOneOutputAtATime)
{
    folder.write("sound.wav", std::string(10000, 'x')); // what was there before
    play(sound);
    auto twice = recorded(path);
    EXPECT_EQ(bytes_of(path).size(), 44 + 2 * sound.size());
    twice.insert(twice.end(), sound.begin(), sound.end());
    {
        const test_output second;
        ASSERT_EQ(audio_out_prepare(second), 0);
        EXPECT_EQ(audio_out_prepare(test_output{}), -26214398);
        EXPECT_EQ(last_error(),
                  "the sound file \"" + path + "\" is being written by another output");
        second.write(sound);
        EXPECT_EQ(recorded(path), twice); // before it is closed
    }
    EXPECT_EQ(audio_out_prepare(test_output{48000}), kNotOpened);
    EXPECT_EQ(last_error(), "cannot append to the sound file \"" + path +
                                "\": it is not mono at 48000 Hz in 16 bits");
    EXPECT_EQ(recorded(path), twice);

    std::filesystem::remove(path); // made anew, at any rate
    play(sound, 48000);
    EXPECT_EQ(recorded(path, 48000), sound);

    // Another file is made anew, even where it takes the place of the first on the disk.
    std::filesystem::remove(path);
    const auto other_path = folder.write("other.wav", "what was there before");
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + other_path).c_str()), 0);
    play(sound);
    EXPECT_EQ(recorded(other_path), sound);
}

TEST_F(Sinks, FileStaysWhosItWasAndIsNotLeftEmpty)
{
    namespace fs = std::filesystem;
    const auto status_of = [](const std::string &name) {
        struct stat status {};
        stat(name.c_str(), &status);
        return std::tuple(status.st_ino, status.st_nlink, status.st_uid, status.st_mode & 07777);
    };
    const auto target = folder.write("target", std::string(10000, 'x'));
    fs::create_hard_link(target, folder.file("twin"));
    fs::create_symlink("target", path);
    if (geteuid() == 0 && chown(target.c_str(), 65534, 65534) != 0) FAIL();
    const auto before = status_of(target);
    ASSERT_EQ(chmod(target.c_str(), 06000 | std::get<3>(before)), 0);
    play(sound);
    EXPECT_EQ(status_of(target), before);
    EXPECT_EQ(recorded(folder.file("twin")), sound);

    fs::remove(path);
    const auto find_no_room = [&] {
        const rlimit none{0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        std::signal(SIGXFSZ, SIG_IGN);
        const bool is_refused = audio_out_prepare(test_output{}) == kNotOpened;
        const int first_free = dup(0);
        close(first_free);
        audio_out_prepare(test_output{});
        std::exit(is_refused && dup(0) == first_free ? 0 : 1);
    };
    EXPECT_EXIT(find_no_room(), testing::ExitedWithCode(0), "");
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Sinks, LetTheProcessEndWhileTheyPlay)
{
    const auto end_while_playing = [&] {
        const test_output out;
        stream_callback call = [&](audio_out_h, std::size_t) { out.write(sound); };
        set_callback(out, call);
        sound_manager_set_master_volume_changed_cb([](unsigned int, void *) {}, nullptr);
        audio_out_prepare(out);
        wait_for_samples(1);
        std::exit(0); // which destroys neither of them
    };
    EXPECT_EXIT(end_while_playing(), testing::ExitedWithCode(0), "");
}

TEST_F(Sinks, DeviceHoldsWhatWasWrittenAndIsToldOnceToBeLost)
{
    const auto raw = folder.file("sound.raw");
    const auto devices = folder.write(
        "asoundrc",
        "pcm.default { type file slave.pcm { type null } format raw file \"" + raw + "\" }");
    setenv("ALSA_CONFIG_PATH", devices.c_str(), 1);
    unsetenv("TONELINK_AUDIO");
    for (const char *choice : {"alsa:default", "alsa", static_cast<const char *>(nullptr)}) {
        std::filesystem::remove(raw);
        ASSERT_EQ(tonelink_host_set_audio(choice), 0);
        play(sound);
        EXPECT_EQ(recorded(raw, kRate, /*raw=*/true), sound);
        next_answer = -EPIPE; // from now on the device runs empty
    }

    // After -EINTR, ALSA has one try again, for ever.
    const test_output out;
    for (const auto &[answer, words] :
         {std::pair{-ENODEV, "No such device"}, {-EINTR, "Interrupted system call"}}) {
        ASSERT_EQ(audio_out_prepare(out), 0) << last_error();
        EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
        next_answer = answer;
        EXPECT_EQ(out.write(sound), kNotOpened);
        EXPECT_EQ(last_error(),
                  std::string{"cannot play to the ALSA device \"default\": "} + words);
        next_answer = 0;
        EXPECT_EQ(out.write(sound), kNotOpened); // until it is opened anew
        EXPECT_EQ(audio_out_unprepare(out), 0);
    }
}

} // namespace tonelink::test
