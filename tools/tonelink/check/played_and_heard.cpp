#include "check/played_and_heard.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <thread>

#include "burst_shape.h"
#include "check/probe.h"
#include "decode/microphone.h"
#include "errors.h"
#include "sound/open_hint.h"
#include "sound/pcm_player.h"
#include "sound/rate_converter.h"

namespace tonelink::tool {
namespace {

using clock = std::chrono::steady_clock;

constexpr unsigned int kPeriods = 5; // 100 ms
constexpr int kWaitMs = 10;          // less than a period
constexpr double kQuietSeconds = 1;  // of listening before the probe
constexpr double kEchoSeconds = 0.8; // behind it, for what is still on its way
constexpr double kTooFast = 5;       // times as much heard as was played: a file, no microphone
constexpr std::chrono::seconds kPatience{10}; // with a device that gives or takes nothing

unusable_device cannot_play(const std::string &device, const sound::pcm_error &error)
{
    const std::string hint = sound::open_hint(error.code);
    return {path_reason::no_output,
            "cannot play to the ALSA device \"" + device + "\": " + error.what() + "; " +
                (hint.empty() ? "--list-devices shows what there is" : hint)};
}

/// The probe on its way into a loudspeaker.
class playing_probe {
public:
    playing_probe(const std::string &device, double level_db)
    try : device_{device}, player_{device, SND_PCM_NONBLOCK, kAudioRate, kPeriods} {
        sound::rate_converter converter{kAudioRate, rate()};
        const auto keep = [this](std::span<const int16_t> samples) {
            samples_.insert(samples_.end(), samples.begin(), samples.end());
        };
        keep(converter.convert(make_probe(level_db)));
        keep(converter.finish());
    } catch (const sound::pcm_error &error) {
        throw cannot_play(device, error);
    }

    double rate() const { return player_.device().rate(); }
    const std::string &warning() const { return player_.device().warning(); }

    double share() const
    {
        return static_cast<double>(given_) / static_cast<double>(samples_.size());
    }
    bool is_given() const { return given_ == samples_.size(); }

    /// Gives the device what it has room for.
    void go_on()
    try {
        const std::size_t taken = player_.put(std::span<const int16_t>{samples_}.subspan(given_));
        const auto now = clock::now();
        if (taken > 0) last_taken_ = now;
        if (now - last_taken_ > kPatience)
            throw unusable_device{path_reason::no_output,
                                  "the ALSA device \"" + device_ + "\" takes no sound"};
        given_ += taken;
    } catch (const sound::pcm_error &error) {
        throw cannot_play(device_, error);
    }

    void drain() { player_.drain(); }

private:
    std::string device_;
    sound::pcm_player player_;
    std::vector<int16_t> samples_; ///< at the device's rate
    std::size_t given_ = 0;
    clock::time_point last_taken_ = clock::now();
};

/// A microphone that keeps what it hears.
class listening_device {
public:
    explicit listening_device(const std::string &device)
    try : device_{device}, input_{device} {
        heard_.rate = input_.rate();
    } catch (const device_failure &error) {
        throw unusable_device{path_reason::no_input, error.what()};
    }

    const std::string &warning() const { return input_.warning(); }
    recording &heard() { return heard_; }
    double seconds() const { return static_cast<double>(heard_.samples.size()) / heard_.rate; }

    /// Takes what there is, after waiting for it a little. What was lost is silence.
    void go_on()
    {
        const auto samples = read();
        for (const int16_t sample : samples)
            heard_.samples.push_back(static_cast<float>(sample) / 32768.0f);
        if (const int64_t lost = input_.take_lost(); lost > 0) {
            heard_.lost_samples += lost;
            heard_.samples.resize(heard_.samples.size() + static_cast<std::size_t>(lost));
        }
        const auto now = clock::now();
        if (!samples.empty()) last_heard_ = now;
        if (now - last_heard_ > kPatience)
            throw unusable_device{path_reason::no_input,
                                  "the ALSA device \"" + device_ + "\" gives no sound"};
    }

private:
    std::span<const int16_t> read()
    try {
        return input_.read(kWaitMs);
    } catch (const device_failure &error) {
        throw unusable_device{path_reason::no_input, error.what()};
    }

    std::string device_;
    microphone input_;
    recording heard_;
    clock::time_point last_heard_ = clock::now();
};

void play_alone(playing_probe &probe, const std::function<void(double)> &progressed)
{
    while (!probe.is_given()) {
        probe.go_on();
        progressed(probe.share());
        std::this_thread::sleep_for(std::chrono::milliseconds{kWaitMs});
    }
    probe.drain();
}

void listen_alone(listening_device &input, double seconds,
                  const std::function<void(double)> &progressed)
{
    while (input.seconds() < seconds) {
        input.go_on();
        progressed(input.seconds() / seconds);
    }
    input.heard().samples.resize(
        static_cast<std::size_t>(std::lround(seconds * input.heard().rate)));
}

void play_and_listen(playing_probe &probe, listening_device &input,
                     const std::function<void(double)> &progressed)
{
    constexpr double kProbeSeconds = probe_time::kEnd + 2 * kProbeMargin;
    constexpr double kAll = kQuietSeconds + kProbeSeconds + kEchoSeconds;
    while (input.seconds() < kQuietSeconds) input.go_on();
    input.heard().played_at =
        static_cast<double>(input.heard().samples.size()) + kProbeMargin * input.heard().rate;
    const double end = input.seconds() + kProbeSeconds + kEchoSeconds;
    while (!probe.is_given() || input.seconds() < end) {
        if (input.seconds() > kTooFast * end)
            throw unusable_device{path_reason::no_input,
                                  "the microphone's device gives sound faster than the "
                                  "loudspeaker's plays it"};
        if (!probe.is_given()) probe.go_on();
        input.go_on();
        progressed(std::min(1.0, input.seconds() / kAll));
    }
}

} // namespace

check_recording play_and_hear(const check_devices &devices, double level_db, double seconds,
                              const std::function<void(double)> &progressed)
{
    check_recording done;
    std::unique_ptr<listening_device> input;
    std::unique_ptr<playing_probe> probe;
    if (devices.output) {
        probe = std::make_unique<playing_probe>(*devices.output, level_db);
        done.output_rate = probe->rate();
        done.output_warning = probe->warning();
    }
    if (devices.input) {
        input = std::make_unique<listening_device>(*devices.input);
        done.input_rate = input->heard().rate;
        done.input_warning = input->warning();
    }
    if (probe && input)
        play_and_listen(*probe, *input, progressed);
    else if (probe)
        play_alone(*probe, progressed);
    else if (input)
        listen_alone(*input, seconds, progressed);
    if (input) done.heard = std::move(input->heard());
    done.heard.played_dbfs = level_db;
    return done;
}

} // namespace tonelink::tool
