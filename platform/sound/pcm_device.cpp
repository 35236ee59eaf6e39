#include "sound/pcm_device.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

#include "sound/sound_server.h"

namespace tonelink::sound {

namespace {

constexpr unsigned int kPeriodsPerSecond = 50; // whole at every multiple of 11025, 8000 and 1000 Hz

/// A device that offers more is none, but a plug-in that makes up as many as it is asked for.
constexpr unsigned int kMostChannels = 128;

/// Of the sound's rate; the band of the bursts, with room for a resampler's edge, needs this much.
constexpr double kLeastShareOfRate = 42000.0 / 44100;

/// What becomes of ALSA's rate plug-ins in a configuration.
enum class rate_plugins { bypassed, kept };

void check(int result, const char *step = "set up")
{
    if (result < 0) throw pcm_error{step, result};
}

struct config_deleter {
    void operator()(snd_config_t *config) const { snd_config_delete(config); }
};
using config_tree = std::unique_ptr<snd_config_t, config_deleter>;

/// Adds a text to a compound, or a compound that is empty yet.
void add_text(snd_config_t *compound, const char *key, const char *text)
{
    snd_config_t *made = nullptr;
    check(snd_config_imake_string(&made, key, text), "open");
    check(snd_config_add(compound, made), "open");
}

snd_config_t *add_compound(snd_config_t *compound, const char *key)
{
    snd_config_t *made = nullptr;
    check(snd_config_make_compound(&made, key, 0), "open");
    check(snd_config_add(compound, made), "open");
    return made;
}

constexpr const char *kConvertedName = "tonelink_converted";

/// Makes a plug of each rate plug-in of ALSA's: opened without conversion of rates, it lets those
/// of what is behind it through.
void bypass_rate_plugins(snd_config_t *config)
{
    if (snd_config_get_type(config) != SND_CONFIG_TYPE_COMPOUND) return;
    snd_config_t *type = nullptr, *converter = nullptr;
    const char *name = nullptr;
    if (snd_config_search(config, "type", &type) >= 0 && snd_config_get_string(type, &name) >= 0 &&
        std::string_view{name} == "rate") {
        check(snd_config_set_string(type, "plug"), "open");
        if (snd_config_search(config, "converter", &converter) >= 0) snd_config_delete(converter);
    }
    snd_config_iterator_t entry, next;
    snd_config_for_each(entry, next, config) bypass_rate_plugins(snd_config_iterator_entry(entry));
}

/// The user's configuration, with ALSA's plug before the device.
config_tree configuration_with_plug(const std::string &device, rate_plugins rates)
{
    snd_config_t *shared = nullptr, *copied = nullptr, *devices = nullptr;
    check(snd_config_update_ref(&shared), "open");
    const int result = snd_config_copy(&copied, shared);
    snd_config_unref(shared);
    check(result, "open");
    config_tree tree{copied};
    if (snd_config_search(copied, "pcm", &devices) < 0) devices = add_compound(copied, "pcm");
    if (rates == rate_plugins::bypassed) bypass_rate_plugins(devices);
    snd_config_t *plug = add_compound(devices, kConvertedName);
    add_text(plug, "type", "plug");
    add_text(add_compound(plug, "slave"), "pcm", device.c_str());
    return tree;
}

snd_pcm_t *open_converted(const std::string &device, snd_pcm_stream_t direction, int mode,
                          rate_plugins rates)
{
    const auto tree = configuration_with_plug(device, rates);
    snd_pcm_t *pcm = nullptr;
    check(snd_pcm_open_lconf(&pcm, kConvertedName, direction,
                             mode | SND_PCM_NO_AUTO_RESAMPLE | SND_PCM_NO_AUTO_CHANNELS,
                             tree.get()),
          "open");
    return pcm;
}

/// What ALSA tells people of a device: of which plug-ins it is made.
std::string description_of(snd_pcm_t *pcm)
{
    snd_output_t *output = nullptr;
    check(snd_output_buffer_open(&output));
    snd_pcm_dump(pcm, output);
    char *text = nullptr;
    const std::size_t size = snd_output_buffer_string(output, &text);
    std::string description{text, size};
    snd_output_close(output);
    return description;
}

constexpr std::string_view kRatePlugin = "Rate conversion PCM (";
constexpr std::string_view kPeriod = "period_size  : ";

/// The number behind the next mark, with the text cut to what follows the mark; 0 where there is
/// none.
unsigned int take_number(std::string_view &text, std::string_view mark)
{
    const auto at = text.find(mark);
    if (at == std::string_view::npos) return 0;
    text.remove_prefix(at + mark.size());
    unsigned int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The server's own name of a device that ALSA knows as "pulse:NAME"; empty for its default one.
std::string name_at_server(const std::string &device)
{
    constexpr std::string_view kPrefix = "pulse:";
    return device.starts_with(kPrefix) ? device.substr(kPrefix.size()) : "";
}

/// The rate of the sound server behind a device, which takes every rate and does not tell.
std::optional<unsigned int> rate_of_server(snd_pcm_t *pcm, const std::string &device,
                                           snd_pcm_stream_t direction)
{
    const auto description = description_of(pcm);
    const auto side =
        direction == SND_PCM_STREAM_PLAYBACK ? server_side::sink : server_side::source;
    if (description.find("ALSA <-> PulseAudio") != std::string::npos)
        return sound_server_rate(side, name_at_server(device));
    if (description.find("ALSA <-> PipeWire") != std::string::npos)
        return sound_server_rate(side, {}).value_or(kPipeWireRate);
    return std::nullopt;
}

unsigned int channels_for(snd_pcm_hw_params_t *params, snd_pcm_stream_t direction)
{
    if (direction == SND_PCM_STREAM_PLAYBACK) return 1;
    unsigned int most = 0;
    check(snd_pcm_hw_params_get_channels_max(params, &most));
    return most > kMostChannels ? 1 : 2;
}

/// The lowest rate of the device's that is no lower than `rate`, else its highest.
unsigned int choose_rate(snd_pcm_t *pcm, snd_pcm_hw_params_t *params, unsigned int rate)
{
    unsigned int least = rate, chosen = 0;
    int direction = 0;
    if (snd_pcm_hw_params_set_rate_min(pcm, params, &least, &direction) >= 0)
        check(snd_pcm_hw_params_set_rate_first(pcm, params, &chosen, &direction));
    else
        check(snd_pcm_hw_params_set_rate_last(pcm, params, &chosen, &direction));
    return chosen;
}

double exact_rate(const snd_pcm_hw_params_t *params, unsigned int rate)
{
    unsigned int numerator = 0, denominator = 0;
    if (snd_pcm_hw_params_get_rate_numden(params, &numerator, &denominator) < 0 || denominator == 0)
        return rate;
    const double exact = static_cast<double>(numerator) / denominator;
    return std::abs(exact - rate) <= 1 ? exact : rate; // some drivers leave it unset
}

/// What is wrong with the pace of a rate plug-in that converts all the same: it takes the ratio of
/// the periods before and behind it, which are whole, for the ratio of the rates.
std::string fault_of_pace(snd_pcm_t *pcm, unsigned int rate)
{
    const auto description = description_of(pcm);
    std::string_view text = description;
    const auto rate_behind = take_number(text, kRatePlugin);
    const auto period = take_number(text, kPeriod), period_behind = take_number(text, kPeriod);
    if (rate_behind == 0 || period_behind == 0) return {};
    const double pace = static_cast<double>(period) * rate_behind / rate / period_behind;
    const auto ppm = std::lround((pace - 1) * 1e6);
    if (ppm == 0) return {};
    return "takes periods of " + std::to_string(period) + " samples at " + std::to_string(rate) +
           " Hz for " + std::to_string(period_behind) + " at " + std::to_string(rate_behind) +
           " Hz, and is " + std::to_string(std::abs(ppm)) + " ppm " + (ppm > 0 ? "fast" : "slow");
}

std::string fault_of_rate(unsigned int rate)
{
    return "runs at " + std::to_string(rate) + " Hz, which loses the band of the bursts";
}

} // namespace

void pcm_device::closer::operator()(snd_pcm_t *pcm) const
{
    const alsa_message_filter filter;
    snd_pcm_close(pcm);
}

pcm_device::pcm_device(const std::string &name, snd_pcm_stream_t direction, int mode,
                       unsigned int wanted_rate, unsigned int periods)
{
    const alsa_message_filter filter;
    const auto open = [&](rate_plugins rates) {
        pcm_.reset(open_converted(name, direction, mode, rates));
        set_up(direction, rate_of_server(pcm_.get(), name, direction).value_or(wanted_rate),
               periods);
    };
    try {
        open(rate_plugins::bypassed);
    } catch (const pcm_error &) { // perhaps one is needed, between two rates that are fixed
        open(rate_plugins::kept);
    }
    const auto rate = static_cast<unsigned int>(std::lround(rate_));
    const auto fault = rate < kLeastShareOfRate * wanted_rate ? fault_of_rate(rate)
                                                              : fault_of_pace(pcm_.get(), rate);
    if (!fault.empty()) warning_ = "the ALSA device \"" + name + "\" " + fault;
}

void pcm_device::set_up(snd_pcm_stream_t direction, unsigned int rate, unsigned int periods)
{
    snd_pcm_t *const pcm = pcm_.get();
    snd_pcm_hw_params_t *params = nullptr;
    snd_pcm_hw_params_alloca(&params);
    check(snd_pcm_hw_params_any(pcm, params));
    check(snd_pcm_hw_params_set_rate_resample(pcm, params, 0));
    check(snd_pcm_hw_params_set_access(pcm, params, SND_PCM_ACCESS_RW_INTERLEAVED));
    check(snd_pcm_hw_params_set_format(pcm, params, SND_PCM_FORMAT_S16));
    channels_ = channels_for(params, direction);
    check(snd_pcm_hw_params_set_channels_near(pcm, params, &channels_));
    const unsigned int set_rate = choose_rate(pcm, params, rate);
    period_frames_ = set_rate / kPeriodsPerSecond;
    check(snd_pcm_hw_params_set_period_size_near(pcm, params, &period_frames_, nullptr));
    buffer_frames_ = set_rate / kPeriodsPerSecond * periods;
    check(snd_pcm_hw_params_set_buffer_size_near(pcm, params, &buffer_frames_));
    check(snd_pcm_hw_params(pcm, params));
    rate_ = exact_rate(params, set_rate);
    check(snd_pcm_hw_params_get_period_size(params, &period_frames_, nullptr));
    check(snd_pcm_hw_params_get_buffer_size(params, &buffer_frames_));
}

} // namespace tonelink::sound
