// `tonelink listen`: the messages that a microphone hears, as they come.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "arguments.h"
#include "command.h"
#include "decode/burst_receiver.h"
#include "decode/decode_report.h"
#include "decode/listening_options.h"
#include "decode/microphone.h"
#include "decode/recent_messages.h"
#include "decode/reception_text.h"
#include "device_choice.h"
#include "errors.h"
#include "events.h"
#include "live_line.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kListenExamples = R"(Examples:
  tonelink listen
  tonelink listen --input alsa:hw:1 --count 1
Times are from the start of listening. Ctrl-C ends it; the exit status is 1 when nothing
was heard, 4 for a device that cannot be used.)";

constexpr int kWaitMs = 50;
constexpr double kMeterSeconds = 0.1;
/// What a person is told of the last seconds, not before there were as many.
constexpr double kReasonSeconds = 5;

struct listen_options {
    std::optional<std::string> input;
    device_options devices;
    listening wanted;
    uint64_t limit = std::numeric_limits<uint64_t>::max(); ///< of messages
    bool json = false;
};

constexpr device_use kUse{.plays = false, .hears = true};

/// The device that the options name.
std::string device_of(const listen_options &options)
{
    if (options.devices.device && options.input)
        throw wrong_usage{"--device and --input both say where to listen; either is right, not "
                          "both"};
    if (options.devices.device) return choose_device(*options.devices.device, kUse).name;
    if (const auto name = alsa_name_of(options.input.value_or("alsa"))) return *name;
    throw wrong_usage{"--input '" + *options.input + "' is not right: it is alsa or alsa:DEVICE"};
}

void require_rate(const microphone &input, const std::string &device)
{
    const auto rate = std::lround(input.rate());
    if (rate >= TONELINK_RECEIVER_LOWEST_RATE && rate <= TONELINK_RECEIVER_HIGHEST_RATE) return;
    throw device_failure{joined(0, "cannot listen to the ALSA device \"", device, "\": it runs at ",
                                rate, " Hz; ", TONELINK_RECEIVER_LOWEST_RATE, " to ",
                                TONELINK_RECEIVER_HIGHEST_RATE, " Hz is right")};
}

/// Tells what is heard.
class message_listener {
public:
    /// @param sample_rate  of the device
    message_listener(int sample_rate, const listen_options &options)
        : sample_rate_{sample_rate}, options_{options}, receiver_{sample_rate, options.wanted}
    {
    }

    void put(std::span<const int16_t> samples)
    {
        receiver_.put(samples);
        samples_ += std::ssize(samples);
        tell();
        if (seconds() < next_meter_) return;
        next_meter_ = seconds() + kMeterSeconds;
        show_meter();
    }

    /// Tells of samples that are missing before those that are put next.
    void put_gap(int64_t samples)
    {
        live_.clear();
        say("tonelink listen",
            joined(0, "lost ", samples, " samples, ", samples * 1000 / sample_rate_,
                   " ms, that were not read in time"));
        if (options_.json) print(line_of_gap(seconds(), samples));
        receiver_.put_gap(samples);
        samples_ += samples;
        tell();
    }

    /// Tells what is known at the end, and why nothing was heard where nothing was.
    void finish()
    {
        receiver_.finish();
        tell();
        live_.clear();
        const tonelink_reception reception = receiver_.reception();
        if (reception.heard > 0) return;
        if (options_.json) print(line_of_nothing(reception, ""));
        say("tonelink listen", "nothing heard: " + advice_on(reception, options_.wanted));
    }

    /// Whether a message has been heard.
    bool has_heard() const { return count_ > 0; }

    /// Whether as many messages have been told as were asked for.
    bool is_done() const { return count_ >= options_.limit; }

private:
    double seconds() const { return static_cast<double>(samples_) / sample_rate_; }

    void tell()
    {
        while (!is_done()) {
            const auto heard = receiver_.take();
            if (!heard) return;
            last_ = message_of(*heard);
            bursts_ = recent_.hear(*heard);
            if (bursts_ > heard->copies) continue;
            ++count_;
            live_.clear();
            print(line_of_burst(*heard, options_.json ? report_form::json : report_form::text));
        }
    }

    void show_meter()
    {
        constexpr double kLowest = -90, kNothing = -100;
        const tonelink_reception reception = receiver_.reception();
        const double level = std::max<double>(reception.band_dbfs, kNothing);
        const double share = std::clamp(1 - level / kLowest, 0.0, 1.0);
        const std::string decibels = joined(0, std::setw(4), level, " dB");
        std::string last, brief = joined(0, level, " dB");
        if (last_) {
            last = joined(0, "  last: ", hex_of(*last_), ", ", bursts_, " times");
            brief = hex_of(*last_) + ' ' + brief;
        } else if (seconds() >= kReasonSeconds) {
            last = "  " + word_for(reception.recent_reason);
        }
        live_.show_fitting({"18-20 kHz " + bar_of(share, 30) + ' ' + decibels + last,
                            bar_of(share, 10) + ' ' + decibels + last, decibels + last, brief});
    }

    int sample_rate_;
    listen_options options_;
    burst_receiver receiver_;
    live_line live_{stderr};
    int64_t samples_ = 0; ///< of the stream, those lost included
    double next_meter_ = 0;
    recent_messages recent_;
    std::optional<message_bits> last_;
    int64_t bursts_ = 0; ///< of the last message's transmission
    uint64_t count_ = 0;
};

/// Returns the exit status.
int listen(const listen_options &options)
{
    if (options.devices.lists) {
        print_devices(kUse, options.json ? report_form::json : report_form::text);
        return kDone;
    }
    const std::string device = device_of(options);

    std::signal(SIGPIPE, SIG_IGN);
    const stop_signals signals;
    std::atomic<bool> is_open{false}, must_stop{false};
    const stop_watch watch{signals, [&](int signal) {
                               if (!is_open) end_by(signal); // there is nothing to tell
                               must_stop = true;
                           }};
    microphone input{device};
    is_open = true;
    require_rate(input, device);
    if (!input.warning().empty()) say("tonelink listen", "warning: " + input.warning());
    message_listener listener{static_cast<int>(std::lround(input.rate())), options};
    while (!listener.is_done()) {
        if (must_stop) {
            listener.finish();
            break;
        }
        require_reader();
        listener.put(input.read(kWaitMs));
        if (const int64_t lost = input.take_lost(); lost > 0) listener.put_gap(lost);
    }
    return listener.has_heard() ? kDone : kNothingHeard;
}

} // namespace

void add_listen_command(CLI::App &program, int &status)
{
    auto options = std::make_shared<listen_options>();
    CLI::App *command =
        program.add_subcommand("listen", "Print the messages that a microphone hears");
    command->footer(kListenExamples);
    command->add_option("--input", options->input, "Where to listen (default alsa)")
        ->type_name("alsa[:DEVICE]");
    add_device_options(*command, options->devices);
    add_listening_options(*command, options->wanted);
    command->add_option("--count", options->limit, "Stop after so many messages")
        ->type_name("NUMBER")
        ->transform(number_from<uint64_t>(1, 1'000'000'000));
    command->add_flag("--json", options->json, "Print an object of JSON a line, for programs");
    command->callback([options, &status] { status = listen(*options); });
}

} // namespace tonelink::tool
