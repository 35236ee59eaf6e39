// The road to a desktop: ALSA's pulse plug-in, a sound server, and its sink that nobody hears,
// recorded from the sink's monitor. At equal rates not a bit may change on the way.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "child_process.h"
#include "scratch_folder.h"
#include "test_output.h"

// The sound server's client library is not built for the thread sanitizer, which therefore does not
// see its locks.
extern "C" const char *__tsan_default_suppressions();
const char *__tsan_default_suppressions() { return "race:libpulse"; }

namespace tonelink::test {

namespace {

sample_row samples_of(const std::string &bytes)
{
    sample_row samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), 2 * samples.size());
    return samples;
}

class Pulse : public testing::Test {
protected:
    void SetUp() override
    {
        const auto script = folder.write(
            "server.pa",
            "load-module module-native-protocol-unix auth-anonymous=1 socket=" + socket +
                "\nload-module module-null-sink sink_name=speaker format=s16le"
                " rate=44100 channels=1\n");
        server.emplace(std::vector<std::string>{"pulseaudio", "-n", "-F", script, "--daemonize=no",
                                                "--use-pid-file=no", "--exit-idle-time=-1",
                                                "--disable-shm=yes"},
                       home, folder.file("server.log"));
        const auto answers = [this] {
            return run({"pactl", "--server=unix:" + socket, "info"}, home,
                       folder.file("pactl.log"));
        };
        ASSERT_TRUE(wait_for(*server, answers))
            << "no sound server (packages pulseaudio, pulseaudio-utils): "
            << bytes_of(folder.file("server.log")) << bytes_of(folder.file("pactl.log"));

        for (const auto &variable : home) {
            const auto equals = variable.find('=');
            setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
        }
        const auto configuration = folder.write(
            "asoundrc", "pcm.desktop {\n type pulse\n server \"unix:" + socket + "\"\n}\n");
        setenv("ALSA_CONFIG_PATH", configuration.c_str(), 1);
        ASSERT_EQ(tonelink_host_set_audio("alsa:desktop"), 0);
        ASSERT_EQ(sound_manager_set_volume(1, 15), 0);
    }

    /// What the sink's monitor hears while the sound is played.
    sample_row monitored(const sample_row &sound)
    {
        const auto file = folder.file("monitor.raw");
        child_process recorder{{"parec", "--server=unix:" + socket, "--device=speaker.monitor",
                                "--format=s16le", "--rate=44100", "--channels=1", "--raw",
                                "--latency-msec=20"},
                               home,
                               file};
        EXPECT_TRUE(wait_for(recorder, [&] { return !bytes_of(file).empty(); }))
            << "nothing can be recorded (package pulseaudio-utils): " << bytes_of(file);
        {
            const test_output out;
            EXPECT_EQ(audio_out_prepare(out), 0)
                << last_error() << " (is the package libasound2-plugins there?)";
            EXPECT_EQ(out.write(sound), static_cast<int>(2 * sound.size()));
        }
        // The recorder lags behind: it has all once it has heard the last samples.
        const auto end = sample_row(sound.end() - 50, sound.end());
        EXPECT_TRUE(wait_for(recorder, [&] {
            const auto heard = samples_of(bytes_of(file));
            return std::search(heard.begin(), heard.end(), end.begin(), end.end()) != heard.end();
        })) << "the end of the sound was not heard";
        return samples_of(bytes_of(file));
    }

    const scratch_folder folder;
    const std::string socket = folder.file("socket");
    const environment home = {"XDG_RUNTIME_DIR=" + folder.file("run"), "HOME=" + folder.file(""),
                              "DBUS_SESSION_BUS_ADDRESS=unix:path=" + folder.file("no-bus")};
    std::optional<child_process> server;
};

} // namespace

TEST_F(Pulse, HearsWhatWasWritten)
{
    // The monitor has run ahead of the speaker: while they come together, the beginning of a sound
    // may be lost to it. What is compared starts behind that.
    const auto lead = sample_row(kRate / 2, 1);
    const auto sound = test_sound(kRate);
    auto played = lead;
    played.insert(played.end(), sound.begin(), sound.end());
    // On a machine that is too busy the server runs empty and puts silence in between: then, and
    // only then, it is played again. A sample that differs fails at once.
    for (int attempt = 1;; ++attempt) {
        auto heard = monitored(played);
        if (HasFailure()) return;
        if (std::search(heard.begin(), heard.end(), sound.begin(), sound.end()) != heard.end())
            return;
        heard.erase(std::remove(heard.begin(), heard.end(), 0), heard.end()); // none in the sound
        ASSERT_GE(heard.size(), sound.size());
        ASSERT_TRUE(std::equal(sound.rbegin(), sound.rend(), heard.rbegin()))
            << "a sample was changed, lost or heard twice";
        ASSERT_LT(attempt, 10) << "the sound was never heard without a gap";
    }
}

} // namespace tonelink::test
