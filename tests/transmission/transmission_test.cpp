// The whole road: the shared library on the host platform, down to a file or a sound server.

#include <algorithm>
#include <cstdlib>

#include "platform/child_process.h"
#include "platform/test_output.h"
#include "support/signals.h"
#include "tonelink/payload.h"
#include "tonelink/service.h"

// The sound server's client library is not built for the thread sanitizer, which therefore does not
// see its locks.
extern "C" const char *__tsan_default_suppressions();
const char *__tsan_default_suppressions() { return "race:libpulse"; }

namespace tonelink::test {

namespace {

constexpr std::size_t kBurst = 23170;
constexpr std::size_t kWrite = 5 * kBurst; // five copies

/// The hash of the PIN's filtered burst in 48 bits, as the first and the second transmission of a
/// process play it, from an independent model: the filter's histories run on.
constexpr const char *kFirstBurst = "b27af8e51b359866";
constexpr const char *kSecondBurst = "54aa138f946fa3ef";

/// The two families of calls that start and stop the service.
struct family {
    const char *name;
    int32_t (*start)(int32_t packet_type);
    int32_t (*stop)();
};
constexpr family kThread{"writer thread", start_audio_transmitting_type, stop_audio_transmitting};
constexpr family kCallback{"stream callback", start_audio_transmitting_async_type,
                           stop_audio_transmitting_async};

std::string hash_of_burst(std::span<const int16_t> samples)
{
    return hash16(samples.first(kBurst));
}

/// Starts, plays `writes` writes at least, and stops.
void transmit(const family &f, std::size_t writes)
{
    const auto before = tonelink_host_get_samples_played();
    ASSERT_EQ(f.start(2), 1) << f.name << ": " << last_error();
    wait_for_samples(before + (writes - 1) * kWrite + 1);
    ASSERT_EQ(f.stop(), 1) << f.name;
}

int volume()
{
    int value = -1;
    EXPECT_EQ(sound_manager_get_volume(1, &value), 0);
    return value;
}

/// Of the PIN 4711 and a quiet television: sound type 1 at 9, the master volume at 5.
class Transmission : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(tonelink_host_set_audio(("wav:" + path).c_str()), 0);
        ASSERT_EQ(sound_manager_set_volume(1, 9), 0);
        ASSERT_EQ(sound_manager_set_master_volume(5), 0);
        ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
    }

    void TearDown() override
    {
        EXPECT_EQ(volume(), 9);
        EXPECT_EQ(host_threads(), 0);
    }

    const scratch_folder folder;
    const std::string path = folder.file("sound.wav");
};

} // namespace

TEST_F(Transmission, IsFiveCopiesAWrite)
{
    std::size_t heard = 0;
    for (const auto &f : {kThread, kCallback}) {
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
    }
}

// Through ALSA's pulse plug-in and a sound server to a sink that nobody hears, recorded from the
// sink's monitor: at equal rates not a bit may change on the way.
TEST_F(Transmission, IsHeardThroughASoundServer)
{
    transmit(kThread, 1); // tells what to listen for
    const auto first = recorded(path);

    const auto log = " >>" + folder.file("log") + " 2>&1";
    setenv("HOME", folder.file("").c_str(), 1);
    setenv("XDG_RUNTIME_DIR", folder.file("run").c_str(), 1);
    setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + folder.file("no-bus")).c_str(), 1);
    setenv("PULSE_SERVER", ("unix:" + folder.file("socket")).c_str(), 1);
    const auto script = folder.write(
        "server.pa",
        "load-module module-native-protocol-unix auth-anonymous=1 socket=" + folder.file("socket") +
            "\nload-module module-null-sink sink_name=speaker format=s16le"
            " rate=44100 channels=1\n");
    const child_process server{"pulseaudio -n -F " + script +
                               " --daemonize=no --use-pid-file=no --exit-idle-time=-1"
                               " --disable-shm=yes" +
                               log};
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
    transmit(kCallback, 1);
    // The beginning may be lost to the monitor, which runs ahead of the speaker, and a machine that
    // is too busy puts silence between the samples: the last copy is heard to its end all the same.
    // Behind its first samples, the filter has forgotten its past.
    sample_row copy(first.begin() + 1000, first.begin() + kBurst);
    std::erase(copy, 0);
    EXPECT_TRUE(recorder.wait_for([&] {
        auto heard = raw_samples(monitor);
        std::erase(heard, 0);
        return heard.size() >= copy.size() &&
               std::equal(copy.rbegin(), copy.rend(), heard.rbegin());
    })) << "is the package libasound2-plugins there?";
}

} // namespace tonelink::test
