// `tonelink plot`: the spectrogram of a sound file as a picture, with the bursts in it marked.
#include <algorithm>
#include <bit>
#include <cmath>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "burst_finder.h"
#include "burst_layout.h"
#include "burst_picture.h"
#include "command.h"
#include "errors.h"
#include "output_file.h"
#include "sound_file.h"
#include "spectrogram.h"

namespace tonelink::tool {
namespace {

constexpr const char *kExample = R"(Example:
  tonelink plot pairing.wav -o pairing.png)";

struct plot_options {
    std::string input;
    std::string output;
    std::string channel;
    std::string size = "1600x1000";
};

/// Spectra of 12 ms see 170 Hz apart: both little beside a symbol and the band.
constexpr double kWindowSeconds = 0.012;

/// What one passage over the sound tells, before it is known how a second is to look at it.
struct survey {
    int sample_rate = 0;
    int channels = 0;
    int64_t samples = 0;
    std::vector<found_burst> bursts;
};

survey survey_sound(const sound_source &source)
{
    sound_reader sound{source};
    survey found{sound.sample_rate(), sound.channels(), 0, {}};
    burst_finder finder{static_cast<double>(sound.sample_rate())};
    for (auto block = sound.read(); !block.empty(); block = sound.read()) {
        finder.put(block);
        found.samples += static_cast<int64_t>(block.size());
    }
    if (found.samples == 0) throw failure{source.path + " holds no samples"};
    found.bursts = finder.finish();
    return found;
}

spectrogram analyse(const sound_source &source, const spectrogram_shape &shape)
{
    sound_reader sound{source};
    const auto margin = static_cast<int64_t>(shape.window);
    const int64_t start = std::max<int64_t>(0, shape.first_sample - margin);
    sound.skip(start);
    spectrogram levels{shape, start};
    int64_t left = shape.end_sample + margin - start;
    for (auto block = sound.read(); !block.empty() && left > 0; block = sound.read()) {
        levels.put(block);
        left -= static_cast<int64_t>(block.size());
    }
    levels.finish();
    return levels;
}

/// The whole sound. The transform, some power of two, is at least twice as long as the window.
spectrogram_shape overview_of(const survey &sound, std::size_t columns)
{
    constexpr double kShortest = 16, kLongest = 8192; // for the oddest sample rates
    const auto window = static_cast<std::size_t>(
        std::clamp(std::round(sound.sample_rate * kWindowSeconds), kShortest, kLongest));
    return {.sample_rate = static_cast<double>(sound.sample_rate),
            .first_sample = 0,
            .end_sample = sound.samples,
            .columns = columns,
            .window = window,
            .transform = std::bit_ceil(2 * window)};
}

/// One burst, with a longer transform for the fewer bins of its band.
spectrogram_shape closeup_of(const survey &sound, const found_burst &burst, std::size_t columns)
{
    spectrogram_shape shape = overview_of(sound, columns);
    const double first = burst.start_s - kCloseupMarginSeconds;
    const double end = burst.start_s + kBurstSeconds + kCloseupMarginSeconds;
    shape.first_sample = std::llround(first * sound.sample_rate);
    shape.end_sample = std::llround(end * sound.sample_rate);
    shape.transform *= 2;
    return shape;
}

/// The first burst that is about as clear as the clearest.
std::size_t clearest(const std::vector<found_burst> &bursts)
{
    constexpr double kAbout = 0.02;
    double best = 0;
    for (const found_burst &burst : bursts) best = std::max(best, burst.fit);
    const auto first = std::find_if(bursts.begin(), bursts.end(), [best](const found_burst &burst) {
        return burst.fit >= best - kAbout;
    });
    return static_cast<std::size_t>(first - bursts.begin());
}

std::string channel_text(int channels, int channel)
{
    if (channels == 1) return "mono";
    if (channel > 0)
        return "channel " + std::to_string(channel) + " of " + std::to_string(channels);
    return "mix of " + std::to_string(channels) + " channels";
}

std::string duration_text(double seconds)
{
    if (seconds < 1) return decimal(seconds * 1000, 1) + " ms";
    if (seconds < 120) return decimal(seconds, 2) + " s";
    return decimal(std::floor(seconds / 60), 0) + " min " +
           decimal(std::floor(std::fmod(seconds, 60)), 0) + " s";
}

std::string subtitle_of(const survey &sound, int channel)
{
    const std::string duration =
        duration_text(static_cast<double>(sound.samples) / sound.sample_rate);
    std::string bursts = "no burst found";
    if (!burst_finder::has_band(sound.sample_rate))
        bursts = "the sample rate is too low for bursts";
    else if (sound.bursts.size() == 1)
        bursts = "1 burst found";
    else if (sound.bursts.size() > 1)
        bursts = std::to_string(sound.bursts.size()) + " bursts found";
    return std::to_string(sound.sample_rate) + " Hz, " + channel_text(sound.channels, channel) +
           ", " + duration + "  \u00b7  " + bursts;
}

void plot(const CLI::App &command, const plot_options &options)
{
    sound_source source{options.input};
    if (command.count("--channel") > 0)
        source.channel = static_cast<int>(parse_count("--channel", options.channel, 1, 1024));
    const auto [width, height] = parse_size(options.size);
    if (options.output != "-" && std::filesystem::path{options.output}.extension() != ".png")
        throw wrong_usage{"-o '" + options.output + "' is no picture; a name in .png is right"};
    refuse_terminal(options.output);
    if (options.input == "-" || std::filesystem::is_fifo(options.input))
        throw wrong_usage{"cannot plot from a pipe, as the sound is read twice; a file is right"};

    const survey sound = survey_sound(source);
    const picture_layout layout{width, height, !sound.bursts.empty()};
    const spectrogram overview = analyse(source, overview_of(sound, layout.columns()));
    burst_picture picture{std::filesystem::path{options.input}.filename(),
                          subtitle_of(sound, source.channel), &overview, sound.bursts};
    std::optional<spectrogram> closeup;
    if (!sound.bursts.empty()) {
        picture.nearest = clearest(sound.bursts);
        const found_burst &nearest = sound.bursts[picture.nearest];
        closeup = analyse(source, closeup_of(sound, nearest, layout.columns()));
        picture.closeup = &*closeup;
    }
    const canvas page = draw_picture(picture, layout);
    output_file output{options.output};
    page.write_png(output);
    output.commit();
}

} // namespace

void add_plot_command(CLI::App &program)
{
    auto options = std::make_shared<plot_options>();
    CLI::App *command = program.add_subcommand("plot", "Draw the spectrogram of a sound file");
    command->footer(kExample);
    command
        ->add_option("FILE", options->input, "Sound file: WAV, FLAC or any that libsndfile reads")
        ->type_name("")
        ->required();
    command
        ->add_option("-o,--output", options->output, "Picture to write, .png; - is standard output")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("--channel", options->channel,
                     "Look at one channel alone, 1 for the first (default: a mix of all)")
        ->type_name("N");
    command->add_option("--size", options->size, "Pixels of the picture (default 1600x1000)")
        ->type_name("WxH");
    command->callback([command, options] { plot(*command, *options); });
}

} // namespace tonelink::tool
