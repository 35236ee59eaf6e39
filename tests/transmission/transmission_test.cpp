// The whole road: the shared library on the host platform, down to a file and a sound server.

#include "platform/companion_program.h"
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

/// Starts, plays into a write of five copies, and stops.
void transmit(int32_t (*start)(int32_t packet_type), int32_t (*stop)())
{
    ASSERT_EQ(start(2), 1) << last_error();
    wait_for_samples(tonelink_host_get_samples_played() + 1);
    ASSERT_EQ(stop(), 1);
}

} // namespace

// Through ALSA's pulse plug-in and a sound server to a sink that nobody hears, recorded from the
// sink's monitor: at equal rates not a bit may change on the way.
TEST(Transmission, IsTheSameInAFileAndThroughASoundServer)
{
    ASSERT_EQ(std::system("which pulseaudio pactl parec"), 0);
    const scratch_folder folder;
    const auto sound = folder.file("sound.wav");
    ASSERT_EQ(tonelink_host_set_audio(("wav:" + sound).c_str()), 0);
    ASSERT_EQ(sound_manager_set_master_volume(5), 0); // quiet: played at 15, unchanged
    ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
    transmit(start_audio_transmitting_type, stop_audio_transmitting);
    const auto first = recorded(sound);
    ASSERT_GT(first.size(), kBurst);

    for (const char *variable : {"HOME", "XDG_RUNTIME_DIR"})
        setenv(variable, folder.file("").c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder.file("no-bus")).c_str(), 1);
    const auto socket = folder.file("socket");
    setenv("PULSE_SERVER", ("unix:" + socket).c_str(), 1);
    const auto server = run_beside(
        "pulseaudio -n --daemonize=no --use-pid-file=no --exit-idle-time=-1 --disable-shm=yes"
        " -L 'module-null-sink sink_name=speaker format=s16le rate=44100 channels=1'"
        " -L 'module-native-protocol-unix auth-anonymous=1 socket=" +
        socket + "'");
    wait_until([] { return std::system("pactl info") == 0; });
    const auto monitor = folder.file("monitor.raw");
    const auto recorder = run_beside(
        "parec --device=speaker.monitor --rate=44100 --channels=1 --latency-msec=20 >" + monitor);
    wait_until([&] { return !bytes_of(monitor).empty(); });

    const auto plugin = folder.write("asoundrc", "pcm.desktop { type pulse }\n");
    setenv("ALSA_CONFIG_PATH", plugin.c_str(), 1);
    ASSERT_EQ(tonelink_host_set_audio("alsa:desktop"), 0);
    transmit(start_audio_transmitting_async_type, stop_audio_transmitting_async);
    // The beginning may be lost to the monitor, which runs ahead of the speaker, and a machine that
    // is too busy puts silence between the samples: the last copy is heard to its end all the same.
    // Behind its first samples, the filter has forgotten its past.
    sample_row copy(first.begin() + 1000, first.begin() + kBurst);
    std::erase(copy, 0);
    wait_until([&] {
        auto heard = recorded(monitor, kRate, /*raw=*/true);
        std::erase(heard, 0);
        return heard.size() >= copy.size() &&
               std::equal(copy.rbegin(), copy.rend(), heard.rbegin());
    });

    // A sink at another rate gets the sound at its own: the server's resampler would cut the band.
    ASSERT_EQ(std::system("pactl load-module module-null-sink sink_name=other rate=48000"), 0);
    ASSERT_EQ(std::system("pactl set-default-sink other"), 0);
    ASSERT_EQ(start_audio_transmitting_type(2), 1) << last_error();
    EXPECT_EQ(std::system("pactl list sink-inputs | grep 'Specification: s16le 1ch 48000Hz'"), 0);
    ASSERT_EQ(stop_audio_transmitting(), 1);
}

} // namespace tonelink::test
