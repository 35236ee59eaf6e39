// `tonelink listen`: the messages that a microphone hears, as they come.
#include <algorithm>
#include <csignal>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "command.h"
#include "decode/band_meter.h"
#include "decode/decode_report.h"
#include "decode/lengths_option.h"
#include "decode/microphone_input.h"
#include "decode/recent_messages.h"
#include "decode/sound_decoder.h"
#include "errors.h"
#include "events.h"
#include "live_line.h"
#include "modem/burst_format.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kListenExamples = R"(Examples:
  tonelink listen
  tonelink listen --input alsa:hw:1 --count 1
Times are from the start of listening. Ctrl-C ends it.)";

constexpr int kWaitMs = 50;
constexpr int64_t kMeterSamples = 4410; // ten times a second
/// Longer than a burst takes to be complete and told.
constexpr int64_t kLongestSilence = kAudioRate;

struct listen_options {
    std::string input = "alsa";
    message_lengths lengths = message_lengths::both;
    uint64_t limit = std::numeric_limits<uint64_t>::max(); ///< of messages
    bool json = false;
};

std::string device_of(const std::string &input)
{
    if (input == "alsa") return "default";
    if (input.starts_with("alsa:") && input.size() > 5) return input.substr(5);
    throw wrong_usage{"--input '" + input + "' is not right: it is alsa or alsa:DEVICE"};
}

/// Tells what is heard.
class message_listener {
public:
    message_listener(message_lengths lengths, report_form form) : form_{form}, decoder_{lengths} {}

    void put(std::span<const int16_t> samples)
    {
        decoder_.put(samples);
        meter_.put(samples);
        while (auto burst = decoder_.take_burst()) {
            burst->first += passed_over_;
            burst->last += passed_over_;
            report(*burst);
        }
        if (decoder_.position() < next_meter_) return;
        next_meter_ = decoder_.position() + kMeterSamples;
        show_meter();
    }

    /// Tells of samples that are missing before those that are put next, and hears silence in their
    /// place: as many as a burst that goes on behind them needs, or as complete one before them.
    void put_gap(int64_t samples)
    {
        live_.clear();
        say("tonelink listen",
            joined(0, "lost ", samples, " samples, ", samples * 1000 / kAudioRate,
                   " ms, that were not read in time"));
        if (form_ == report_form::json)
            print(line_of_gap(decoder_.position() + passed_over_, samples));
        const int64_t silence = std::min(samples, kLongestSilence);
        put(std::vector<int16_t>(static_cast<std::size_t>(silence)));
        passed_over_ += samples - silence;
    }

    /// How many messages have been told.
    uint64_t count() const { return count_; }

private:
    void report(const heard_burst &burst)
    {
        last_ = burst.message;
        bursts_ = recent_.hear(burst);
        if (bursts_ > 1) return;
        ++count_;
        live_.clear();
        print(line_of_burst(burst, form_));
    }

    void show_meter()
    {
        constexpr double kLowest = -90;
        const double level = meter_.take_level();
        const double share = std::clamp(1 - level / kLowest, 0.0, 1.0);
        const std::string decibels = joined(0, std::setw(4), level, " dB");
        std::string last, brief = joined(0, level, " dB");
        if (last_) last = joined(0, "  last: ", hex_of(*last_), ", ", bursts_, " times");
        if (last_) brief = hex_of(*last_) + ' ' + brief;
        live_.show_fitting({"18-20 kHz " + bar_of(share, 30) + ' ' + decibels + last,
                            bar_of(share, 10) + ' ' + decibels + last, decibels + last, brief});
    }

    report_form form_;
    sound_decoder decoder_;
    band_meter meter_;
    live_line live_{stderr};
    int64_t next_meter_ = 0;
    int64_t passed_over_ = 0; ///< samples that were lost and not made good by silence
    recent_messages recent_;
    std::optional<message_bits> last_;
    int64_t bursts_ = 0; ///< of the last message's transmission
    uint64_t count_ = 0;
};

void listen(const listen_options &options)
{
    const std::string device = device_of(options.input);

    std::signal(SIGPIPE, SIG_IGN);
    const stop_signals signals;
    microphone_input input{device};
    if (!input.warning().empty()) say("tonelink listen", "warning: " + input.warning());
    message_listener listener{options.lengths,
                              options.json ? report_form::json : report_form::text};
    while (listener.count() < options.limit) {
        const int signal = signals.take();
        if (signal != 0 && signal != SIGCONT) return;
        require_reader();
        listener.put(input.read(kWaitMs));
        if (const int64_t lost = input.take_lost(); lost > 0) listener.put_gap(lost);
    }
}

} // namespace

void add_listen_command(CLI::App &program)
{
    auto options = std::make_shared<listen_options>();
    CLI::App *command =
        program.add_subcommand("listen", "Print the messages that a microphone hears");
    command->footer(kListenExamples);
    command->add_option("--input", options->input, "Where to listen: alsa (default) or alsa:DEVICE")
        ->type_name("INPUT");
    add_lengths_option(*command, options->lengths);
    command->add_option("--count", options->limit, "Stop after so many messages")
        ->type_name("N")
        ->transform(number_from<uint64_t>(1, 1'000'000'000));
    command->add_flag("--json", options->json, "Print an object of JSON a line, for programs");
    command->callback([options] { listen(*options); });
}

} // namespace tonelink::tool
