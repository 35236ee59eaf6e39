// `tonelink listen`: the messages that a microphone hears, as they come.
#include <algorithm>
#include <csignal>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "arguments.h"
#include "command.h"
#include "decode/band_meter.h"
#include "decode/decode_report.h"
#include "decode/heard_messages.h"
#include "decode/microphone.h"
#include "decode/sound_decoder.h"
#include "errors.h"
#include "events.h"
#include "live_line.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kExamples = R"(Examples:
  tonelink listen
  tonelink listen --input alsa:hw:1 --count 1
Times are from the start of listening. Ctrl-C ends it.)";

constexpr int kWaitMs = 50;
constexpr int64_t kMeterSamples = 4410; // ten times a second
/// A message that comes again sooner, three seconds, is the same transmission going on.
constexpr int64_t kSilenceBetween = 3 * 44100;

struct listen_options {
    std::string input = "alsa";
    std::string bits = "both";
    std::string count;
    bool json = false;
};

std::string device_of(const std::string &input)
{
    if (input == "alsa") return "default";
    if (input.starts_with("alsa:") && input.size() > 5) return input.substr(5);
    throw wrong_usage{"--input '" + input + "' is not right: it is alsa or alsa:DEVICE"};
}

/// What has been heard and told.
class listener {
public:
    listener(message_lengths lengths, report_form form)
        : form_{form}, decoder_{lengths, [this](const message_bits &message, int64_t sample) {
                                    heard_.accept(message, sample);
                                }}
    {
    }

    void put(std::span<const int16_t> samples)
    {
        decoder_.put(samples);
        meter_.put(samples);
        while (const auto burst = heard_.take_burst(decoder_.position())) tell(*burst);
        if (decoder_.position() < next_meter_) return;
        next_meter_ = decoder_.position() + kMeterSamples;
        show_meter();
    }

    /// How many messages have been told.
    uint64_t count() const { return count_; }

private:
    void tell(const heard_burst &burst)
    {
        const bool goes_on =
            last_ && last_->message == burst.message && burst.first - last_->last < kSilenceBetween;
        bursts_ = goes_on ? bursts_ + 1 : 1;
        last_ = burst;
        if (goes_on) return;
        ++count_;
        live_.clear();
        print(line_of_burst(burst, form_));
    }

    void show_meter()
    {
        constexpr double kLowest = -90;
        constexpr std::size_t kWidth = 30;
        const double level = meter_.take_level();
        const double share = std::clamp(1 - level / kLowest, 0.0, 1.0);
        std::string bar(kWidth, '.');
        std::fill_n(bar.begin(), static_cast<std::ptrdiff_t>(share * kWidth), '#');
        std::string line = joined(0, "18-20 kHz [", bar, "] ", std::setw(4), level, " dB");
        if (last_) line += joined(0, "  last: ", hex_of(last_->message), ", ", bursts_, " times");
        live_.show(line);
    }

    report_form form_;
    heard_messages heard_;
    sound_decoder decoder_;
    band_meter meter_;
    live_line live_{stderr};
    int64_t next_meter_ = 0;
    std::optional<heard_burst> last_;
    int bursts_ = 0; ///< of the last message, one after the other
    uint64_t count_ = 0;
};

void listen(const CLI::App &command, const listen_options &options)
{
    uint64_t limit = std::numeric_limits<uint64_t>::max();
    if (command.count("--count") > 0)
        limit = parse_count("--count", options.count, 1, 1'000'000'000);
    const message_lengths lengths = parse_lengths(options.bits);
    const std::string device = device_of(options.input);

    std::signal(SIGPIPE, SIG_IGN);
    const stop_signals signals;
    microphone input{device};
    listener ears{lengths, options.json ? report_form::json : report_form::text};
    while (ears.count() < limit) {
        const int signal = signals.take();
        if (signal != 0 && signal != SIGCONT) return;
        ears.put(input.read(kWaitMs));
    }
}

} // namespace

void add_listen_command(CLI::App &program)
{
    auto options = std::make_shared<listen_options>();
    CLI::App *command =
        program.add_subcommand("listen", "Print the messages that a microphone hears");
    command->footer(kExamples);
    const auto option = [command](const char *name, std::string &value, const char *type,
                                  const char *meaning) {
        return command->add_option(name, value, meaning)->type_name(type);
    };
    option("--input", options->input, "INPUT", "Where to listen: alsa (default) or alsa:DEVICE");
    option("--bits", options->bits, "N", "Length of the messages: 32, 48 or both (default)");
    option("--count", options->count, "N", "Stop after so many messages");
    command->add_flag("--json", options->json, "Print an object of JSON a line, for programs");
    command->callback([command, options] { listen(*command, *options); });
}

} // namespace tonelink::tool
