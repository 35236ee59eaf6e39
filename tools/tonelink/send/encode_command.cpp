// `tonelink encode`: a message as a sound file, the burst that a phone would hear.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "burst_shape.h"
#include "command.h"
#include "errors.h"
#include "output_file.h"
#include "send/burst_samples.h"
#include "send/message_options.h"
#include "sound_file.h"

namespace tonelink::tool {
namespace {

constexpr const char *kEncodeExamples = R"(Examples:
  tonelink encode --pin 4711 --address AA:BB:CC:DD:EE:FF -o pairing.wav
  tonelink encode --data CAFE01 --copies 5 --gap 100 --level -12 -o data.flac
  tonelink encode --data CAFE01 --raw -o - | aplay -f S16_LE -r 44100)";

struct encode_options {
    message_choice message;
    uint64_t copies = 1;
    double gap_ms = 0;
    std::optional<double> level_db;
    std::string output;
    bool unfiltered = false;
    bool raw = false;
};

sound_format format_of(const encode_options &options)
{
    if (options.raw) return sound_format::raw;
    if (options.output == "-") return sound_format::wav;
    std::string extension = std::filesystem::path{options.output}.extension();
    for (char &c : extension) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    if (extension == ".wav") return sound_format::wav;
    if (extension == ".flac") return sound_format::flac;
    throw wrong_usage{"-o '" + options.output +
                      "' does not tell the format; a name in .wav or .flac is right, or --raw"};
}

/// Scales the samples to a peak of `level_db` dBFS.
void set_level(std::vector<int16_t> &samples, double level_db)
{
    constexpr double kFullScale = 32767;
    int peak = 0;
    for (const int16_t sample : samples) peak = std::max(peak, std::abs(sample));
    const double gain = kFullScale * std::pow(10, level_db / 20) / peak;
    for (int16_t &sample : samples) sample = static_cast<int16_t>(std::lround(sample * gain));
}

/// Writes the burst `copies` times with `gap` samples of silence between them.
void write_copies(sound_writer &sound, const std::vector<int16_t> &burst, uint64_t copies,
                  std::size_t gap)
{
    const std::vector<int16_t> silence(gap, 0);
    for (uint64_t copy = 0; copy < copies; ++copy) {
        if (copy > 0) sound.write(silence);
        sound.write(burst);
    }
}

void encode(const encode_options &options)
{
    const message_choice &choice = options.message;
    if (!choice.data && !(choice.pin && choice.address))
        throw wrong_usage{
            "nothing to send: --pin and --address are right together, or --data, or --text"};
    const message_bits message = message_of(choice);
    const sound_format format = format_of(options);

    std::vector<int16_t> burst =
        options.unfiltered ? modem_burst(message) : transmitted_burst(message);
    if (options.level_db) set_level(burst, *options.level_db);
    const auto gap = static_cast<std::size_t>(std::lround(options.gap_ms * kAudioRate / 1000));
    // A WAV file counts its bytes in 32 bits, its header's few included.
    if (format == sound_format::wav &&
        options.copies * (burst.size() + gap) * sizeof(int16_t) > 0xFFFFF000)
        throw wrong_usage{"the sound is too long for a WAV file; FLAC or --raw is right"};

    output_file output{options.output};
    sound_writer sound{output.descriptor(), format, output.name()};
    write_copies(sound, burst, options.copies, gap);
    sound.finish();
    output.commit();
}

} // namespace

void add_encode_command(CLI::App &program)
{
    auto options = std::make_shared<encode_options>();
    CLI::App *command = program.add_subcommand("encode", "Write a message as a sound file");
    command->footer(kEncodeExamples);

    add_message_options(*command, options->message);
    const auto option = [command](const char *name, auto &value, const char *type,
                                  const char *meaning) {
        return command->add_option(name, value, meaning)->type_name(type);
    };
    option("--copies", options->copies, "NUMBER", "How often the burst is repeated (default 1)")
        ->transform(number_from<uint64_t>(1, 1'000'000));
    option("--gap", options->gap_ms, "MILLISECONDS",
           "Silence between copies in milliseconds (default 0)")
        ->transform(number_from<double>(0, 60'000));
    option("--level", options->level_db, "DECIBELS",
           "Scale to this peak, -90 to 0; without it, as a transmission at full volume")
        ->transform(number_from<double>(-90, 0));
    command->add_flag("--unfiltered", options->unfiltered,
                      "Leave out the output filter of transmissions: the modem's own burst");
    command->add_flag("--raw", options->raw,
                      "Write bare samples: 16 bits, little-endian, mono, 44100 Hz");
    option("-o,--output", options->output, "FILE",
           "File to write, .wav or .flac; - is standard output, as WAV")
        ->required();
    command->callback([options] { encode(*options); });
}

} // namespace tonelink::tool
