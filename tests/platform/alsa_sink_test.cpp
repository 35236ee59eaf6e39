// The road through ALSA on a machine without a sound card: its `file` plug-in over `null`.

#include <atomic>
#include <cerrno>
#include <cstdlib>

#include <alsa/asoundlib.h>
#include <dlfcn.h>

#include "support/signals.h"
#include "test_output.h"

namespace {

// What the device answers next in place of taking samples; 0: nothing special.
std::atomic<int> next_answer{0};
std::atomic<int> writes{0};

} // namespace

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

TEST(AlsaSink, HoldsWhatWasWrittenAndTellsOfALostDeviceOnce)
{
    const scratch_folder folder;
    const auto raw = folder.file("sound.raw");
    const auto file_plugin =
        " {\n type file\n slave.pcm { type null }\n file \"" + raw + "\"\n format raw\n}\n";
    const auto devices =
        folder.write("asoundrc", "pcm.test" + file_plugin + "pcm.default" + file_plugin);
    setenv("ALSA_CONFIG_PATH", devices.c_str(), 1);
    unsetenv("TONELINK_AUDIO");
    ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    const auto sound = noise(4 * kRate + 123, /*seed=*/1);
    for (const char *choice : {"alsa:test", "alsa", static_cast<const char *>(nullptr)}) {
        std::filesystem::remove(raw);
        ASSERT_EQ(tonelink_host_set_audio(choice), 0);
        play(sound);
        EXPECT_EQ(recorded(raw, kRate, /*raw=*/true), sound);
        next_answer = -EPIPE; // from now on the device runs empty
    }

    // After -EINTR, ALSA has one try again, for ever.
    for (const auto &[answer, words] :
         {std::pair{-ENODEV, "No such device"}, {-EINTR, "Interrupted system call"}}) {
        next_answer = 0;
        const test_output out;
        ASSERT_EQ(audio_out_prepare(out), 0) << last_error(); // it is back
        next_answer = answer;
        EXPECT_EQ(out.write(sound), kNotOpened);
        EXPECT_EQ(last_error(),
                  std::string{"cannot play to the ALSA device \"default\": "} + words);
        const int writes_before = writes;
        EXPECT_EQ(out.write(sound), kNotOpened);
        EXPECT_EQ(writes, writes_before);
        EXPECT_EQ(audio_out_unprepare(out), 0);
        next_answer = 0;
        EXPECT_EQ(audio_out_prepare(out), 0);
        EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
    }
}

} // namespace tonelink::test
