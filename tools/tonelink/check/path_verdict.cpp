#include "check/path_verdict.h"

#include <cmath>

#include <tonelink/receiver.h>

#include "burst_shape.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

// What a path may do before it is told of. All in dB but for the last ones.
constexpr double kSilentDbfs = -90;
constexpr double kLoudNoiseDbfs = -45; // in the band, where nothing is known of the bursts' level
constexpr double kHiddenByNoiseDbfs = -40;
constexpr double kQuietNoiseDbfs = -60; // bursts below this are weak, not the noise loud
constexpr double kLeastSnr = 6;         // bursts are read safely from 3 dB on
constexpr double kMostFall = 10;
constexpr double kMostDecay = 3; // within a tone of 60 ms
constexpr double kMostDucking = 10;
constexpr double kMostChange = 6;    // in five seconds
constexpr double kMostLateLoss = 10; // of tones beside the chirp before them
constexpr double kMostImage = -40;   // beside its tone
constexpr double kMostCompression = 1.5;
constexpr double kMostLeak = -40;  // beside the tones
constexpr double kMostFlat = 0.35; // of a tone's samples within 0.2 dB of its peak: a sine has 0.13
constexpr double kMostClipped = 44; // samples a second
constexpr double kMostPpm = 300;    // receivers follow this much
constexpr double kBrokenPpm = 2000; // no clock, but sound that is missing or was put in
constexpr double kLeastRate = TONELINK_RECEIVER_LOWEST_RATE;

bool is_above(const std::optional<double> &value, double limit) { return value && *value > limit; }

bool is_rate_low(double rate) { return rate > 0 && rate < kLeastRate; }

bool loses_samples(const path_figures &figures)
{
    return figures.lost_samples > 0 || std::abs(figures.clock_ppm.value_or(0)) > kBrokenPpm;
}

bool is_voice_processed(const path_figures &figures)
{
    return is_above(figures.decay_db, kMostDecay) || is_above(figures.ducking_db, kMostDucking) ||
           is_above(figures.late_loss_db, kMostLateLoss) ||
           figures.change_db.value_or(0) < -kMostChange;
}

bool is_cut_off(const path_figures &figures)
{
    return static_cast<double>(figures.clipped_samples) > kMostClipped * figures.seconds;
}

bool is_clipped(const path_figures &figures)
{
    return is_cut_off(figures) || figures.flat_share > kMostFlat ||
           is_above(figures.compression_db, kMostCompression);
}

/// The reasons while the probe is not heard.
std::vector<path_reason> reasons_without_probe(const path_figures &figures, const check_task &task)
{
    if (task.plays && task.cancels_echo) return {path_reason::echo_cancelled};
    if (figures.level_dbfs < kSilentDbfs) return {path_reason::silent};
    if (task.plays && !is_above(figures.noise_dbfs, kHiddenByNoiseDbfs))
        return {path_reason::nothing_heard};
    std::vector<path_reason> reasons;
    if (figures.lost_samples > 0) reasons.push_back(path_reason::samples_lost);
    if (is_cut_off(figures)) reasons.push_back(path_reason::clipped);
    if (is_above(figures.noise_dbfs, kLoudNoiseDbfs)) reasons.push_back(path_reason::noise);
    return reasons;
}

std::vector<path_reason> reasons_with_probe(const path_figures &figures)
{
    if (loses_samples(figures)) return {path_reason::samples_lost}; // no figure is to be trusted
    std::vector<path_reason> reasons;
    const auto add_if = [&](bool holds, path_reason reason) {
        if (holds) reasons.push_back(reason);
        return holds;
    };
    const bool is_processed = add_if(is_voice_processed(figures), path_reason::echo_cancelled);
    const bool is_cut = add_if(is_above(std::optional{kBandHighHz}, figures.edge_hz.value_or(1e9)),
                               path_reason::band_cut);
    if (is_processed || is_cut) return reasons; // all else may be the work of these
    const bool is_doubled = add_if(is_above(figures.image_db, kMostImage), path_reason::resampled);
    const bool is_distorted = add_if(is_clipped(figures), path_reason::clipped);
    const bool is_hidden = figures.snr_db < kLeastSnr;
    add_if(is_hidden, is_above(figures.noise_dbfs, kQuietNoiseDbfs) ? path_reason::noise
                                                                    : path_reason::too_weak);
    add_if(!is_hidden && !is_doubled && figures.band_fall_db > kMostFall, path_reason::uneven);
    const double ppm = std::abs(figures.clock_ppm.value_or(0));
    add_if(ppm > kMostPpm && ppm <= kBrokenPpm, path_reason::clock);
    add_if(!is_doubled && !is_distorted && is_above(figures.leak_db, kMostLeak),
           path_reason::audible);
    add_if(reasons.empty() && figures.bursts_heard == 0, path_reason::unread);
    return reasons;
}

path_state state_of(const path_figures &figures, const check_task &task, bool has_reasons)
{
    const bool is_rate_bad = is_rate_low(task.output_rate) || is_rate_low(task.input_rate);
    const bool is_measured = task.hears && (task.plays || figures.heard);
    const bool is_unread = is_measured && figures.bursts_heard == 0;
    const bool is_silent = task.hears && figures.level_dbfs < kSilentDbfs;
    if (is_rate_bad || is_unread || is_silent) return path_state::bad;
    return has_reasons ? path_state::limited : path_state::good;
}

std::string rate_text(const check_task &task)
{
    const bool is_output = is_rate_low(task.output_rate);
    return joined(0, is_output ? "the loudspeaker" : "the microphone", " runs at ",
                  is_output ? task.output_rate : task.input_rate,
                  " Hz, which has no room for the band: set it, or the sound server "
                  "(default-sample-rate in daemon.conf, default.clock.rate in pipewire.conf), to "
                  "44100 or 48000 Hz");
}

std::string lost_text(const path_figures &figures)
{
    if (figures.lost_samples == 0)
        return joined(1, "what was heard takes ", *figures.clock_ppm / 1000,
                      " thousandths more time than what was played: sound was lost or put in on "
                      "the way, as by a sound server without real-time priority (rtkit), and the "
                      "figures are not to be trusted; try again when the machine is less busy");
    return joined(0, figures.lost_samples,
                  " samples were not read in time: the machine is too busy, and the figures are "
                  "not to be trusted; try again");
}

} // namespace

path_verdict judge_path(const path_figures &figures, const check_task &task)
{
    std::vector<path_reason> reasons;
    if (is_rate_low(task.output_rate) || is_rate_low(task.input_rate))
        reasons.push_back(path_reason::rate_too_low);
    else if (task.hears)
        reasons =
            figures.heard ? reasons_with_probe(figures) : reasons_without_probe(figures, task);
    const path_state state = state_of(figures, task, !reasons.empty());
    return {state, std::move(reasons)};
}

std::string word_for(path_reason reason)
{
    switch (reason) {
    case path_reason::no_output: return "no_output";
    case path_reason::no_input: return "no_input";
    case path_reason::rate_too_low: return "rate_too_low";
    case path_reason::silent: return "silent";
    case path_reason::nothing_heard: return "nothing_heard";
    case path_reason::samples_lost: return "samples_lost";
    case path_reason::echo_cancelled: return "echo_cancelled";
    case path_reason::band_cut: return "band_cut";
    case path_reason::resampled: return "resampled";
    case path_reason::clipped: return "clipped";
    case path_reason::noise: return "noise";
    case path_reason::too_weak: return "too_weak";
    case path_reason::uneven: return "uneven";
    case path_reason::clock: return "clock";
    case path_reason::audible: return "audible";
    default: return "unread";
    }
}

std::string word_for(path_state state)
{
    return state == path_state::good ? "good" : state == path_state::limited ? "limited" : "bad";
}

std::string advice_on(path_reason reason, const path_figures &figures, const check_task &task)
{
    switch (reason) {
    case path_reason::no_output: return "the loudspeaker's device cannot be used";
    case path_reason::no_input: return "the microphone's device cannot be used";
    case path_reason::rate_too_low: return rate_text(task);
    case path_reason::silent:
        return "nothing at all arrives, not even noise: the microphone is muted (pavucontrol; "
               "pactl "
               "set-source-mute @DEFAULT_SOURCE@ 0; alsamixer), not plugged in, or another one is "
               "meant (--list-devices); or noise suppression leaves nothing";
    case path_reason::nothing_heard:
        return "the room is heard, but nothing of what is played: is the loudspeaker on, in the "
               "same room and loud enough? An echo canceller or noise suppression may also take it "
               "away (pactl list short modules, sources)";
    case path_reason::samples_lost: return lost_text(figures);
    case path_reason::echo_cancelled:
        return "what is played is taken out of what is heard, or its level is turned: an echo "
               "canceller, noise suppression or automatic gain is on; record from the source "
               "before it (module-echo-cancel in PulseAudio, libpipewire-module-echo-cancel, a "
               "filter chain or easyeffects in PipeWire)";
    case path_reason::band_cut:
        return joined(1, "the response ends at ", *figures.edge_hz / 1000,
                      " kHz, and bursts need 20.1: voice processing, a Bluetooth headset, a lossy "
                      "link or a device at 32 kHz or less is on the way");
    case path_reason::resampled:
        return joined(
            0, "each tone has a double ", std::abs(*figures.image_hz), " Hz ",
            *figures.image_hz < 0 ? "below" : "above", ", of ", *figures.image_db,
            " dB: something resamples between 44.1 and 48 kHz by straight lines; open "
            "the device at its own rate, or set resample-method = speex-float-5 or better "
            "(PulseAudio's daemon.conf), resample.quality = 10 (PipeWire), or "
            "defaults.pcm.rate_converter \"samplerate_best\" (ALSA)");
    case path_reason::clipped:
        return joined(1,
                      "loud sound is cut off: turn the volume or the microphone's gain down, or "
                      "move away; the loudest tone comes ",
                      std::max(0.0, figures.compression_db.value_or(0)), " dB too weak, and ",
                      figures.clipped_samples, " samples are at full scale");
    case path_reason::noise:
        return joined(0, "noise of ", figures.noise_dbfs.value_or(0),
                      " dBFS is in the band: a switching power supply, a fan, a bat detector or a "
                      "second sender near the microphone; move it away, or turn its gain down");
    case path_reason::too_weak:
        return joined(0, "what arrives is weak, a burst ", figures.snr_db,
                      " dB above the noise: turn the volume up, move nearer, or point the "
                      "loudspeaker at the microphone");
    case path_reason::uneven:
        return joined(
            0, "within the band the response differs by ", figures.band_fall_db,
            " dB: loudspeaker or microphone end here, or echoes cancel; move one of them, "
            "and see that nothing resamples (default-sample-rate)");
    case path_reason::clock:
        return joined(
            0, "what is heard is off by ", *figures.clock_ppm,
            " ppm, and receivers follow 300: a device or a resampler runs at a wrong rate");
    case path_reason::audible:
        return joined(0, "tones above 17 kHz make sound below 16, of ", *figures.leak_db,
                      " dB beside them, that people may hear: turn the volume down, the "
                      "loudspeaker or its amplifier distorts");
    default:
        return "the figures are as they should be, and yet no burst was read: echoes may last too "
               "long; move nearer, and try again";
    }
}

} // namespace tonelink::tool
