#include "sound_server.h"

#include <cstdlib>
#include <cstring>

namespace tonelink::test {

namespace {

void set_in_process(const std::string &variable)
{
    const auto equals = variable.find('=');
    setenv(variable.substr(0, equals).c_str(), variable.substr(equals + 1).c_str(), 1);
}

} // namespace

sound_server::sound_server()
{
    const auto script = folder_.write(
        "server.pa", "load-module module-native-protocol-unix auth-anonymous=1 socket=" + socket_ +
                         "\nload-module module-null-sink sink_name=speaker format=s16le"
                         " rate=44100 channels=1\n");
    server_ = std::make_unique<child_process>(
        std::vector<std::string>{"pulseaudio", "-n", "-F", script, "--daemonize=no",
                                 "--use-pid-file=no", "--exit-idle-time=-1", "--disable-shm=yes"},
        home_, folder_.file("server.log"));
    const auto answers = [this] {
        return run({"pactl", "--server=unix:" + socket_, "info"}, home_, folder_.file("pactl.log"));
    };
    EXPECT_TRUE(wait_for(*server_, answers))
        << "no sound server (packages pulseaudio, pulseaudio-utils): "
        << bytes_of(folder_.file("server.log")) << bytes_of(folder_.file("pactl.log"));

    for (const auto &variable : home_) set_in_process(variable);
    const auto configuration = folder_.write(
        "asoundrc", "pcm.desktop {\n type pulse\n server \"unix:" + socket_ + "\"\n}\n");
    setenv("ALSA_CONFIG_PATH", configuration.c_str(), 1);
    EXPECT_EQ(tonelink_host_set_audio("alsa:desktop"), 0);
}

void sound_server::record()
{
    recorder_.reset();
    recorder_ = std::make_unique<child_process>(
        std::vector<std::string>{"parec", "--server=unix:" + socket_, "--device=speaker.monitor",
                                 "--format=s16le", "--rate=44100", "--channels=1", "--raw",
                                 "--latency-msec=20"},
        home_, monitor_);
    EXPECT_TRUE(wait_until([this] { return !bytes_of(monitor_).empty(); }))
        << "nothing can be recorded (package pulseaudio-utils): " << bytes_of(monitor_);
}

sample_row sound_server::heard() const
{
    const auto bytes = bytes_of(monitor_);
    sample_row samples(bytes.size() / 2);
    std::memcpy(samples.data(), bytes.data(), 2 * samples.size());
    return samples;
}

bool sound_server::wait_until(const std::function<bool()> &ready)
{
    return wait_for(*recorder_, ready);
}

} // namespace tonelink::test
