// `tonelink plot`: the spectrogram of a sound file as a picture, with the bursts in it marked.
#include <algorithm>
#include <bit>
#include <cmath>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "arguments.h"
#include "burst_shape.h"
#include "command.h"
#include "errors.h"
#include "output_file.h"
#include "plot/burst_finder.h"
#include "plot/burst_picture.h"
#include "plot/kept_sound.h"
#include "plot/resampled_sound.h"
#include "plot/sound_survey.h"
#include "plot/spectrogram.h"
#include "plot/subcarrier_estimate.h"
#include "progress_line.h"
#include "report_text.h"
#include "sound_file.h"

namespace tonelink::tool {
namespace {

constexpr const char *kExamples = R"(Examples:
  tonelink plot pairing.wav -o pairing.png
  arecord -f S16_LE -r 44100 -d 10 | tonelink plot - -o room.png)";

/// Width and height in pixels.
using picture_size = std::pair<int, int>;

struct plot_options {
    sound_source source;
    std::string output;
    std::optional<picture_size> size;
    bool constellation = false;
    bool quiet = false;
};

/// How much of the work it is to look for the bursts; most of the rest is the spectrogram.
constexpr double kSurveyShare = 0.8;

constexpr picture_size kSize{1600, 1000};
constexpr picture_size kSizeWithConstellation{1600, 1600};

/// Spectra of 12 ms see 170 Hz apart: both little beside a symbol and the band.
constexpr double kWindowSeconds = 0.012;

spectrogram analyse(const sound_source &source, const spectrogram_shape &shape,
                    const std::function<void(double)> &progressed = {})
{
    sound_reader sound{source};
    const auto margin = static_cast<int64_t>(shape.window);
    const int64_t start = std::max<int64_t>(0, shape.first_sample - margin);
    sound.skip(start);
    spectrogram levels{shape, start};
    const int64_t count = shape.end_sample + margin - start;
    int64_t left = count;
    for (auto block = sound.read(); !block.empty() && left > 0; block = sound.read()) {
        levels.put(block);
        left -= static_cast<int64_t>(block.size());
        if (progressed) progressed(1 - static_cast<double>(left) / static_cast<double>(count));
    }
    levels.finish();
    return levels;
}

/// The whole sound. The transform, some power of two, is at least twice as long as the window.
spectrogram_shape overview_of(const sound_survey &sound, std::size_t columns)
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
spectrogram_shape closeup_of(const sound_survey &sound, const sound_burst &burst,
                             std::size_t columns)
{
    spectrogram_shape shape = overview_of(sound, columns);
    const double first = burst.start_s - kCloseupMarginSeconds;
    const double end = burst.start_s + kBurstSeconds + kCloseupMarginSeconds;
    shape.first_sample = std::llround(first * sound.sample_rate);
    shape.end_sample = std::llround(end * sound.sample_rate);
    shape.transform *= 2;
    return shape;
}

/// The samples of a burst at 44100 Hz, with some around it, and where in them it begins.
struct burst_samples {
    std::vector<int16_t> samples;
    double start;
};

burst_samples cut_burst(const sound_source &source, int sample_rate, const sound_burst &burst)
{
    constexpr double kMarginSeconds = 0.02;
    const auto skipped = std::llround(std::max(0.0, burst.start_s - kMarginSeconds) * sample_rate);
    const double start = (burst.start_s - static_cast<double>(skipped) / sample_rate) * kAudioRate;
    const auto end = static_cast<std::size_t>(
        std::max(0.0, start + kBurstSamples + kMarginSeconds * kAudioRate));
    resampled_sound input{source};
    input.skip(skipped);
    burst_samples cut{{}, start};
    for (auto block = input.read(); !block.empty() && cut.samples.size() < end;
         block = input.read())
        cut.samples.insert(cut.samples.end(), block.begin(), block.end());
    return cut;
}

/// The first burst that is about as clear as the clearest, of those that were decoded if any were.
std::size_t clearest(const sound_survey &sound)
{
    constexpr double kAbout = 0.02;
    const bool any_decoded = sound.decoded() > 0;
    double best = 0;
    for (const sound_burst &burst : sound.bursts)
        if (burst.is_decoded() == any_decoded) best = std::max(best, burst.fit);
    const auto first = std::ranges::find_if(sound.bursts, [&](const sound_burst &burst) {
        return burst.is_decoded() == any_decoded && burst.fit >= best - kAbout;
    });
    return static_cast<std::size_t>(first - sound.bursts.begin());
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

std::string count_of(const sound_survey &sound)
{
    const std::size_t bursts = sound.bursts.size(), decoded = sound.decoded();
    if (!burst_finder::has_band(sound.sample_rate)) return "the sample rate is too low for bursts";
    if (bursts == 0) return "no burst found";
    if (bursts == 1) return decoded == 1 ? "1 burst, decoded" : "1 burst found, not decoded";
    return std::to_string(bursts) + " bursts, " +
           (decoded == bursts ? "all"
            : decoded == 0    ? "none"
                              : std::to_string(decoded)) +
           " decoded";
}

std::string subtitle_of(const sound_survey &sound, const sound_source &source, bool constellation)
{
    const std::string duration =
        duration_text(static_cast<double>(sound.samples) / sound.sample_rate);
    const bool is_missing = constellation && sound.bursts.empty();
    return std::to_string(sound.sample_rate) + " Hz, " +
           channel_text(sound.channels, source.channel) + ", " + duration + "  \u00b7  " +
           count_of(sound) + (is_missing ? ", so no constellation is shown" : "");
}

/// Which parts the picture of a sound has.
picture_parts parts_of(const sound_survey &sound, bool constellation)
{
    if (sound.bursts.empty()) return picture_parts::overview;
    return constellation ? picture_parts::constellation : picture_parts::closeup;
}

/// @param size  without one, the picture is high enough for its parts
canvas draw_sound(const sound_source &source, const sound_survey &sound,
                  const std::optional<picture_size> &size, bool constellation,
                  progress_line &progress)
{
    const picture_parts parts = parts_of(sound, constellation);
    const auto [width, height] =
        size.value_or(parts == picture_parts::constellation ? kSizeWithConstellation : kSize);
    const picture_layout layout{width, height, parts};
    const spectrogram overview =
        analyse(source, overview_of(sound, layout.columns()),
                [&](double share) { progress.show(kSurveyShare + (1 - kSurveyShare) * share); });
    burst_picture picture{std::filesystem::path{name_of(source)}.filename(),
                          subtitle_of(sound, source, constellation), &overview, sound.bursts};
    std::optional<spectrogram> closeup;
    std::optional<subcarrier_estimate> subcarriers;
    if (!sound.bursts.empty()) {
        picture.shown = clearest(sound);
        const sound_burst &shown = sound.bursts[picture.shown];
        if (layout.has_closeup()) {
            closeup = analyse(source, closeup_of(sound, shown, layout.columns()));
            picture.closeup = &*closeup;
        }
        if (constellation) {
            const auto [samples, start] = cut_burst(source, sound.sample_rate, shown);
            subcarriers = estimate_subcarriers(samples, start, shown.message);
            picture.subcarriers = &*subcarriers;
        }
    }
    return draw_picture(picture, layout);
}

void plot(const plot_options &options)
{
    if (options.output != "-") require_picture_name(options.output);
    output_file output{options.output}; // first, as what follows takes its time
    const kept_sound kept{options.source};
    const sound_source &source = kept.source();

    progress_line progress{"drawing", !options.quiet};
    const sound_survey sound =
        survey_sound(source, [&](double share) { progress.show(kSurveyShare * share); });
    const canvas page = draw_sound(source, sound, options.size, options.constellation, progress);
    progress.clear();
    if (!sound.remark.empty()) say("tonelink plot", sound.remark);
    page.write_png(output);
    output.commit();
}

} // namespace

void add_plot_command(CLI::App &program)
{
    auto options = std::make_shared<plot_options>();
    CLI::App *command = program.add_subcommand("plot", "Draw the spectrogram of a sound file");
    command->footer(kExamples);
    command
        ->add_option("FILE", options->source.path,
                     "Sound file: WAV, FLAC or any that libsndfile reads; - is standard input")
        ->type_name("")
        ->required();
    command->add_option("-o,--output", options->output, "Picture to write; - is standard output")
        ->type_name("FILE.png")
        ->required();
    command
        ->add_option("--channel", options->source.channel,
                     "Look at one channel alone, 1 for the first (default: a mix of all)")
        ->type_name("NUMBER")
        ->transform(number_from(1, 1024));
    command->add_flag(
        "--constellation", options->constellation,
        "Show the subcarriers of the clearest burst: as points, and the error of each");
    command
        ->add_option("--size", options->size,
                     "Pixels of the picture (default 1600x1000, 1600x1600 with --constellation)")
        ->type_name("WIDTHxHEIGHT")
        ->delimiter('x')
        ->transform(number_from(640, 8000).application_index(0))
        ->transform(number_from(400, 8000).application_index(1));
    command->add_flag("-q,--quiet", options->quiet, "Do not show on a terminal how far it is");
    command->callback([options] { plot(*options); });
}

} // namespace tonelink::tool
