// The whole road: the shared library on the host platform, down to a file and a sound server.

#include "platform/child_process.h"
#include "platform/test_output.h"
#include "tonelink/payload.h"
#include "tonelink/service.h"

// The sound server's client library is not built for the thread sanitizer, which therefore does not
// see its locks.
extern "C" const char *__tsan_default_suppressions();
const char *__tsan_default_suppressions() { return "race:libpulse"; }

namespace tonelink::test {

namespace {

constexpr std::size_t kBurst = 23170;

/// Starts, plays into a write of five copies, and stops: the volume is as it was before.
void transmit(int32_t (*start)(int32_t packet_type), int32_t (*stop)())
{
    const auto before = tonelink_host_get_samples_played();
    ASSERT_EQ(start(2), 1) << last_error();
    wait_for_samples(before + 1);
    ASSERT_EQ(stop(), 1);
    int volume = -1;
    EXPECT_EQ(sound_manager_get_volume(1, &volume), 0);
    EXPECT_EQ(std::tuple(volume, host_threads()), std::tuple(9, 0));
}

sample_row without_silence(sample_row samples)
{
    std::erase(samples, 0);
    return samples;
}

} // namespace

// Through ALSA's pulse plug-in and a sound server to a sink that nobody hears, recorded from the
// sink's monitor: at equal rates not a bit may change on the way.
TEST(Transmission, IsTheSameInAFileAndThroughASoundServer)
{
    const scratch_folder folder;
    const auto sound = folder.file("sound.wav");
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + sound).c_str()), 0);
    ASSERT_EQ(sound_manager_set_volume(1, 9), 0);
    ASSERT_EQ(sound_manager_set_master_volume(5), 0); // quiet: played at 15, unchanged
    ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
    transmit(start_audio_transmitting_type, stop_audio_transmitting);
    const auto first = recorded(sound);
    ASSERT_GT(first.size(), kBurst);

    const auto log = " >>" + folder.file("log") + " 2>&1";
    for (const char *variable : {"HOME", "XDG_RUNTIME_DIR"})
        setenv(variable, folder.file("").c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder.file("no-bus")).c_str(), 1);
    setenv("PULSE_SERVER", ("unix:" + folder.file("socket")).c_str(), 1);
    const child_process server{
        "pulseaudio -n -F /dev/null --daemonize=no --use-pid-file=no --exit-idle-time=-1"
        " --disable-shm=yes -L 'module-native-protocol-unix auth-anonymous=1 socket=" +
        folder.file("socket") +
        "' -L 'module-null-sink sink_name=speaker format=s16le rate=44100 channels=1'" + log};
    ASSERT_TRUE(server.wait_for([&] { return std::system(("pactl info" + log).c_str()) == 0; }))
        << bytes_of(folder.file("log")) << "(packages pulseaudio, pulseaudio-utils)";
    const auto monitor = folder.file("monitor.raw");
    const child_process recorder{"parec --device=speaker.monitor --format=s16le --rate=44100"
                                 " --channels=1 --raw --latency-msec=20 >" +
                                 monitor};
    ASSERT_TRUE(recorder.wait_for([&] { return !bytes_of(monitor).empty(); }));

    const auto plugin = folder.write("asoundrc", "pcm.desktop { type pulse }\n");
    setenv("ALSA_CONFIG_PATH", plugin.c_str(), 1);
    ASSERT_EQ(tonelink_host_set_audio("alsa:desktop"), 0);
    transmit(start_audio_transmitting_async_type, stop_audio_transmitting_async);
    // The beginning may be lost to the monitor, which runs ahead of the speaker, and a machine that
    // is too busy puts silence between the samples: the last copy is heard to its end all the same.
    // Behind its first samples, the filter has forgotten its past.
    const auto copy = without_silence({first.begin() + 1000, first.begin() + kBurst});
    EXPECT_TRUE(recorder.wait_for([&] {
        const auto heard = without_silence(recorded(monitor, kRate, /*raw=*/true));
        return heard.size() >= copy.size() &&
               std::equal(copy.rbegin(), copy.rend(), heard.rbegin());
    })) << "is the package libasound2-plugins there?";
}

} // namespace tonelink::test
