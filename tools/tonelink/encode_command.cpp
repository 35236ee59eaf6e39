// `tonelink encode`: a message as a sound file, the burst that a phone would hear.
#include <cctype>
#include <cmath>
#include <filesystem>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <tonelink/modem.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "output_file.h"
#include "sound_file.h"

namespace tonelink::tool {
namespace {

constexpr const char *kExamples = R"(Examples:
  tonelink encode --pin 4711 --address AA:BB:CC:DD:EE:FF -o pairing.wav
  tonelink encode --data CAFE01 --copies 5 --gap 100 --level -12 -o data.flac
  tonelink encode --data CAFE01 --raw -o - | aplay -f S16_LE -r 44100)";

/// The arguments as they were typed; empty where an option was not given.
struct encode_options {
    std::string pin;
    std::string address;
    std::string data;
    std::string bits;
    std::string copies = "1";
    std::string gap_ms = "0";
    std::string level_db = "0";
    std::string output;
    bool raw = false;
};

/// The message that the options ask for, a pairing or data.
message_bits message_of(const CLI::App &command, const encode_options &options)
{
    std::optional<message_length> length;
    if (command.count("--bits") > 0) length = parse_bits(options.bits);

    if (command.count("--data") > 0) {
        if (command.count("--pin") > 0 || command.count("--address") > 0)
            throw wrong_usage{
                "--data is sent instead of --pin and --address; either is right, not both"};
        const auto data = parse_data(options.data);
        if (!length)
            length = data.size() <= data_capacity(message_length::short_32)
                         ? message_length::short_32
                         : message_length::long_48;
        if (data.size() > data_capacity(*length))
            throw wrong_usage{"--data has " + std::to_string(data.size()) + " bytes; " +
                              "up to 4 are right for 32 bits, up to 6 for 48"};
        return data_message(data, *length);
    }
    if (command.count("--pin") == 0 || command.count("--address") == 0)
        throw wrong_usage{"nothing to send: --pin and --address are right together, or --data"};
    length = length.value_or(message_length::short_32);
    return pairing_message(parse_pin(options.pin, *length), parse_address(options.address),
                           *length);
}

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

struct close_modem {
    void operator()(snfc_state *modem) const { close_snfc(&modem); }
};

std::vector<int16_t> make_burst(const message_bits &message)
{
    snfc_state *opened = nullptr;
    if (open_snfc(&opened) != 1) throw std::bad_alloc{};
    const std::unique_ptr<snfc_state, close_modem> modem{opened};
    int16_t *samples = nullptr;
    int32_t *length = nullptr;
    if (get_burst_snfc(&opened, message.data(), static_cast<int32_t>(message.size()), &samples,
                       &length) != 1)
        throw std::bad_alloc{};
    return {samples, samples + *length};
}

/// Scales a burst, whose peak is full scale, to a peak of `level_db` dBFS.
void set_level(std::vector<int16_t> &samples, double level_db)
{
    const double gain = std::pow(10, level_db / 20);
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

void encode(const CLI::App &command, const encode_options &options)
{
    const message_bits message = message_of(command, options);
    const uint64_t copies = parse_count("--copies", options.copies, 1, 1'000'000);
    const double gap_ms = parse_number("--gap", options.gap_ms, 0, 60'000);
    const double level_db = parse_number("--level", options.level_db, -90, 0);
    const sound_format format = format_of(options);
    refuse_terminal(options.output);

    std::vector<int16_t> burst = make_burst(message);
    set_level(burst, level_db);
    const auto gap = static_cast<std::size_t>(std::lround(gap_ms * 44.1));
    // A WAV file counts its bytes in 32 bits, its header's few included.
    if (format == sound_format::wav && copies * (burst.size() + gap) * sizeof(int16_t) > 0xFFFFF000)
        throw wrong_usage{"the sound is too long for a WAV file; FLAC or --raw is right"};

    output_file output{options.output};
    sound_writer sound{output.descriptor(), format, output.name()};
    write_copies(sound, burst, copies, gap);
    sound.finish();
    output.commit();
}

} // namespace

void add_encode_command(CLI::App &program)
{
    auto options = std::make_shared<encode_options>();
    CLI::App *command = program.add_subcommand("encode", "Write a message as a sound file");
    command->footer(kExamples);

    const auto option = [command](const char *name, std::string &value, const char *type,
                                  const char *meaning) {
        return command->add_option(name, value, meaning)->type_name(type);
    };
    option("--pin", options->pin, "N",
           "PIN to pair with: 0 to 65535, with --bits 48 to 4294967295");
    option("--address", options->address, "AA:BB:CC:DD:EE:FF",
           "Bluetooth address to pair with; its last two octets are sent");
    option("--data", options->data, "HEX", "Send these bytes instead: 1 to 6, in hexadecimal");
    option("--bits", options->bits, "32|48", "Message length; 32 unless the data needs 48");
    option("--copies", options->copies, "N", "How often the burst is repeated (default 1)");
    option("--gap", options->gap_ms, "MS", "Silence between copies in milliseconds (default 0)");
    option("--level", options->level_db, "DBFS", "Peak level, -90 to 0 (default 0, full scale)");
    command->add_flag("--raw", options->raw,
                      "Write bare samples: 16 bits, little-endian, mono, 44100 Hz");
    option("-o,--output", options->output, "FILE",
           "File to write, .wav or .flac; - is standard output, as WAV")
        ->required();
    command->callback([command, options] { encode(*command, *options); });
}

} // namespace tonelink::tool
