// `tonelink send`: plays a message until it is told to stop, with the volumes looked after.
#include <chrono>
#include <cmath>
#include <csignal>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>

#include <tonelink_platform/host.h>

#include "arguments.h"
#include "command.h"
#include "errors.h"
#include "events.h"
#include "send/message_options.h"
#include "send/send_report.h"
#include "send/transmission.h"

namespace tonelink::tool {
namespace {

constexpr int kTickMilliseconds = 100;
constexpr int kMasterVolumeStep = 5;

constexpr const char *kExamples = R"(Examples:
  tonelink send --pin 4711 --address AA:BB:CC:DD:EE:FF
  tonelink send --text hello --count 5 --output wav:hello.wav
Keys on a terminal: + and - or the arrows turn the master volume, q or Ctrl-C stops.)";

/// The arguments as they were typed; empty where an option was not given.
struct send_options {
    message_options message;
    std::string rate = "44100";
    std::string seconds;
    std::string count;
    std::string player = "thread";
    std::string output;
    std::string master_volume;
    bool av_product = false;
    bool json = false;
};

/// Four digits from the system's source of randomness: who knows when it was drawn knows nothing.
uint32_t random_pin()
{
    std::random_device source;
    return std::uniform_int_distribution<uint32_t>{1000, 9999}(source);
}

player parse_player(const std::string &text)
{
    if (text == "thread") return player::thread;
    if (text == "callback") return player::callback;
    if (text == "standalone") return player::standalone;
    throw wrong_usage{"--player '" + text + "' is not right: it is thread, callback or standalone"};
}

/// What is played and for how long, as far as the options alone say it.
struct send_plan {
    transmission_plan transmission;
    double limit_s = std::numeric_limits<double>::infinity();
};

send_plan plan_of(const CLI::App &command, const send_options &options)
{
    send_plan plan;
    plan.transmission.by = parse_player(options.player);
    plan.transmission.rate =
        static_cast<int32_t>(parse_count("--rate", options.rate, 8000, 192'000));
    if (command.count("--for") > 0 && command.count("--count") > 0)
        throw wrong_usage{"--for and --count both say when to stop; either is right, not both"};
    if (command.count("--count") > 0)
        plan.transmission.copies = parse_count("--count", options.count, 1, 1'000'000);
    if (command.count("--for") > 0) plan.limit_s = parse_number("--for", options.seconds, 0.1, 1e6);
    if (options.av_product && plan.transmission.by == player::standalone)
        throw wrong_usage{"--av-product is about volumes, which --player standalone leaves alone; "
                          "thread or callback is right"};
    return plan;
}

/// Sets up the host platform as the options say.
void set_up_host(const CLI::App &command, const send_options &options)
{
    const std::string choice = options.output == "none" ? "null" : options.output;
    if (command.count("--output") > 0 && tonelink_host_set_audio(choice.c_str()) != 0)
        throw wrong_usage{"--output '" + options.output +
                          "' is not right: it is wav:PATH, alsa, alsa:DEVICE or none"};
    if (command.count("--master-volume") > 0) {
        const uint64_t volume = parse_count("--master-volume", options.master_volume, 0, 100);
        sound_manager_set_master_volume(static_cast<int>(volume));
    }
    if (options.av_product) tonelink_host_set_av_product(1);
}

/// Completes a pairing with what the options leave open.
message_choice choose_pairing(message_choice choice)
{
    if (choice.data) return choice;
    if (!choice.pin) choice.pin = random_pin();
    if (!choice.address) choice.address = own_address();
    return choice;
}

/// A transmission under way, watched over.
class sender {
public:
    sender(transmission &sending, send_report &report, double limit_s)
        : sending_{sending}, report_{report}, limit_s_{limit_s}
    {
    }

    /// Plays until the time is over, the last copies are at hand, a signal comes or a key says so,
    /// but not before the first samples are on their way. Returns which of these it was.
    stop_reason play(const stop_signals &signals, keyboard &keys) const
    {
        for (;;) {
            sending_.check_output();
            const auto now = progress();
            if (sending_.has_begun()) {
                report_.playing(now, false);
                if (sending_.is_at_last_write()) return stop_reason::count;
                if (now.seconds >= limit_s_) return stop_reason::time;
            }
            const event happened = wait_for_event(signals, keys, time_to_wait(now.seconds));
            if (happened == event::signal) return stop_reason::signal;
            if (happened == event::quit) return stop_reason::key;
            turn_volume(happened);
        }
    }

    /// Stops, which takes as long as the copies at hand, and goes on telling how it goes.
    void finish(stop_reason reason, const stop_signals &signals, keyboard &keys) const
    {
        auto stopping = std::async(std::launch::async, [this] { sending_.stop(); });
        while (stopping.wait_for(std::chrono::seconds{0}) != std::future_status::ready) {
            sending_.check_output();
            if (sending_.has_begun()) report_.playing(progress(), reason != stop_reason::count);
            turn_volume(wait_for_event(signals, keys, kTickMilliseconds));
        }
        stopping.get();
        sending_.check_output();
        report_.stopped(progress(), reason);
    }

private:
    using clock = std::chrono::steady_clock;

    static void turn_volume(event happened)
    {
        if (happened == event::louder) turn_master_volume(kMasterVolumeStep);
        if (happened == event::softer) turn_master_volume(-kMasterVolumeStep);
    }

    send_report::progress progress() const
    {
        const std::chrono::duration<double> since_start = clock::now() - start_;
        return {since_start.count(), sending_.copies_played(), read_volumes()};
    }

    /// Milliseconds until the next look: a tick, or less where the time ends before.
    int time_to_wait(double elapsed_s) const
    {
        const double left = std::ceil((limit_s_ - elapsed_s) * 1000);
        return left > 0 && left < kTickMilliseconds ? static_cast<int>(left) : kTickMilliseconds;
    }

    transmission &sending_;
    send_report &report_;
    double limit_s_;
    clock::time_point start_ = clock::now();
};

void send(const CLI::App &command, const send_options &options)
{
    send_plan plan = plan_of(command, options);
    message_choice choice = choose_message(command, options.message);
    set_up_host(command, options);
    choice = choose_pairing(choice);
    plan.transmission.message = message_of(choice);

    // A reader that goes away is a failure like others, told once the volumes are back.
    std::signal(SIGPIPE, SIG_IGN);
    const stop_signals signals;
    const volumes before = read_volumes();
    transmission sending{plan.transmission};
    keyboard keys;
    send_report report{plan.transmission, choice.pin,
                       options.json ? report_form::json : report_form::text};
    const sender watch{sending, report, plan.limit_s};
    report.started(before, keys.is_there());
    const stop_reason reason = watch.play(signals, keys);
    watch.finish(reason, signals, keys);
}

} // namespace

void add_send_command(CLI::App &program)
{
    auto options = std::make_shared<send_options>();
    CLI::App *command = program.add_subcommand("send", "Play a message until it is stopped");
    command->footer(kExamples);

    add_message_options(*command, options->message);
    command->get_option("--pin")->description(
        "PIN to pair with: 0 to 65535, with --bits 48 to 4294967295; else a random one");
    command->get_option("--address")
        ->description("Bluetooth address to pair with; else this machine's own");
    const auto option = [command](const char *name, std::string &value, const char *type,
                                  const char *meaning) {
        command->add_option(name, value, meaning)->type_name(type);
    };
    option("--for", options->seconds, "SECONDS", "Stop after this time, when a write is through");
    option(
        "--count", options->count, "N",
        "Stop after so many copies of the burst; all players but standalone write five at a time");
    option("--player", options->player, "PLAYER",
           "thread, callback or standalone (default thread)");
    option("--output", options->output, "OUTPUT",
           "wav:PATH, alsa, alsa:DEVICE or none (default TONELINK_AUDIO, else alsa)");
    option("--rate", options->rate, "HZ", "Sample rate of the output (default 44100)");
    option("--master-volume", options->master_volume, "N",
           "Set the master volume first, 0 to 100 (else it is 20)");
    command->add_flag("--av-product", options->av_product, "Choose the volume as on an AV product");
    command->add_flag("--json", options->json, "Tell what happens as lines of JSON");
    command->callback([command, options] { send(*command, *options); });
}

} // namespace tonelink::tool
