// `tonelink send`: plays a message until it is told to stop, with the volumes looked after.
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <future>
#include <limits>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>

#include <poll.h>
#include <tonelink_platform/host.h>
#include <unistd.h>

#include "arguments.h"
#include "command.h"
#include "device_choice.h"
#include "errors.h"
#include "events.h"
#include "report_text.h"
#include "send/message_options.h"
#include "send/send_report.h"
#include "send/transmission.h"

namespace tonelink::tool {
namespace {

constexpr std::chrono::duration<int, std::milli> kTick{100};
constexpr std::chrono::seconds kReaderPatience{2};
constexpr int kMasterVolumeStep = 5;

constexpr const char *kSendExamples = R"(Examples:
  tonelink send --pin 4711 --address AA:BB:CC:DD:EE:FF
  tonelink send --text hello --count 5 --output wav:hello.wav
  tonelink send --text hello --count 5 --output wav:- | tonelink decode -
Keys on a terminal: + and - or the arrows turn the master volume, q or Ctrl-C stops,
Ctrl-C again without waiting for the copies at hand.
The burst is made the quieter, the higher the master volume is: silent above 90.)";

struct send_options {
    message_choice message;
    transmission_plan plan; ///< without its message
    std::optional<double> limit_s;
    std::optional<std::string> output;
    device_options devices;
    std::optional<int> master_volume;
    bool av_product = false;
    bool json = false;
    bool quiet = false;
    bool verbose = false;
};

/// Four digits from the system's source of randomness: who knows when it was drawn knows nothing.
uint32_t random_pin()
{
    std::random_device source;
    return std::uniform_int_distribution<uint32_t>{1000, 9999}(source);
}

void refuse_contradictions(const send_options &options)
{
    if (options.limit_s && options.plan.copies > 0)
        throw wrong_usage{"--for and --count both say when to stop; either is right, not both"};
    if (options.av_product && options.plan.by == player::standalone)
        throw wrong_usage{"--av-product is about volumes, which --player standalone leaves alone; "
                          "thread or callback is right"};
    if (options.devices.device && options.output)
        throw wrong_usage{"--device and --output both say where to play; either is right, not "
                          "both"};
    if (options.json && options.quiet)
        throw wrong_usage{"--json tells what --quiet keeps to itself; either is right, not both"};
}

/// Where it plays, empty for the default.
std::string output_of(const send_options &options)
{
    const char *const variable = std::getenv("TONELINK_AUDIO");
    return options.output.value_or(variable ? variable : "");
}

/// Whether the sound goes to standard output, where nothing else may go then.
bool plays_to_standard_output(const send_options &options) { return output_of(options) == "wav:-"; }

report_style style_of(const send_options &options)
{
    const bool is_taken = plays_to_standard_output(options);
    if (is_taken && isatty(STDOUT_FILENO))
        throw wrong_usage{"--output wav:- would fill the terminal with bytes; "
                          "a pipe or a file is right"};
    return {.form = options.json ? report_form::json : report_form::text,
            .is_quiet = options.quiet,
            .has_live_line = !options.quiet && !options.verbose, // the log would run through it
            .stream = is_taken ? stderr : stdout};
}

/// Sets up the host platform as the options say.
void set_up_host(const send_options &options)
{
    const std::string output = options.output.value_or("");
    const std::string choice = output == "none" ? "null" : output;
    if (options.output && tonelink_host_set_audio(choice.c_str()) != 0)
        throw wrong_usage{"--output '" + output +
                          "' is not right: it is wav:PATH, alsa, alsa:DEVICE or none"};
    if (options.master_volume) sound_manager_set_master_volume(*options.master_volume);
    if (options.av_product) tonelink_host_set_av_product(1);
    if (options.verbose) tonelink_host_set_log("stderr");
}

/// Completes a pairing with what the options leave open.
message_choice choose_pairing(message_choice choice)
{
    if (choice.data) return choice;
    if (!choice.pin) choice.pin = random_pin();
    if (!choice.address) choice.address = own_address();
    return choice;
}

/// Who can end a transmission, and what they have asked for.
struct attendance {
    const volumes before = read_volumes(); ///< what the program goes back to
    const stop_signals signals{};
    stop_wish stopping{};
};

/// Starts a transmission. A device may keep it waiting; whoever asks twice by a signal does not
/// wait.
std::unique_ptr<transmission> start(const transmission_plan &plan, attendance &attended)
{
    auto starting =
        std::async(std::launch::async, [&plan] { return std::make_unique<transmission>(plan); });
    while (starting.wait_for(kTick) != std::future_status::ready) {
        const int signal = attended.signals.take();
        if (signal == 0 || signal == SIGCONT || !attended.stopping.repeats()) continue;
        put_volumes_back(attended.before);
        end_by(signal);
    }
    return starting.get();
}

/// Looks after a transmission under way.
class send_loop {
public:
    /// @param is_piped  whether standard output takes the sound
    send_loop(transmission &sending, send_report &report, attendance &attended, double limit_s,
              bool is_piped)
        : sending_{sending}, report_{report}, attended_{attended}, limit_s_{limit_s}, is_piped_{
                                                                                          is_piped}
    {
        report_.started(attended.before, keys_.is_there());
    }

    /// Plays until the time is over, the last copies are at hand, a signal comes or a key says so,
    /// but not before the first samples are on their way. Returns which of these it was.
    stop_reason play()
    {
        bool has_warned = false;
        while (!attended_.stopping.is_there()) {
            sending_.check_output();
            if (!has_warned && !last_warning().empty()) {
                report_.warn(last_warning());
                has_warned = true;
            }
            const auto now = progress();
            if (sending_.has_begun()) {
                report_.playing(now, false);
                if (sending_.is_at_last_write()) return stop_reason::count;
                if (now.seconds >= limit_s_) {
                    attended_.stopping.repeats(); // the time has asked for it
                    return stop_reason::time;
                }
            }
            const event happened =
                wait_for_event(attended_.signals, keys_, time_to_wait(now.seconds));
            turn_volume(happened);
            if (happened.what == request::stop || happened.what == request::quit)
                attended_.stopping.repeats();
            if (happened.what == request::quit) return stop_reason::key;
        }
        return stop_reason::signal;
    }

    /// Stops, which takes as long as the copies at hand, and goes on telling how it goes. Whoever
    /// asks for it once more by a signal does not wait, nor is a reader of the sound waited for who
    /// takes none.
    void finish(stop_reason reason)
    {
        last_taken_ = clock::now();
        auto stopping = std::async(std::launch::async, [this] { sending_.stop(); });
        while (stopping.wait_for(std::chrono::seconds{0}) != std::future_status::ready) {
            sending_.check_output();
            if (sending_.has_begun()) report_.playing(progress(), reason != stop_reason::count);
            const event happened = wait_for_event(attended_.signals, keys_, kTick.count());
            turn_volume(happened);
            if (happened.what == request::stop && attended_.stopping.repeats())
                give_up(happened.signal);
            if (is_piped_ && is_stuck()) leave_stuck(reason);
        }
        stopping.get();
        sending_.check_output();
        report_.stopped(progress(), reason);
    }

private:
    using clock = std::chrono::steady_clock;

    static void turn_volume(const event &happened)
    {
        if (happened.what == request::louder) turn_master_volume(kMasterVolumeStep);
        if (happened.what == request::softer) turn_master_volume(-kMasterVolumeStep);
    }

    /// Leaves in the midst of a write, with volumes and terminal as they were.
    void leave(stop_reason reason)
    {
        put_volumes_back(attended_.before);
        keys_.let_go();
        try {
            report_.stopped(progress(), reason);
        } catch (const failure &) { // there is nobody to tell
        }
    }

    [[noreturn]] void give_up(int signal)
    {
        leave(stop_reason::signal);
        end_by(signal);
    }

    /// Whether standard output has taken no sound for a while, and has no room for more.
    bool is_stuck()
    {
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        const bool has_room = poll(&output, 1, 0) != 0;
        const uint64_t before = std::exchange(taken_, sending_.samples_played());
        if (has_room || taken_ != before) last_taken_ = clock::now();
        return clock::now() - last_taken_ > kReaderPatience;
    }

    /// Ends the program without the thread that writes.
    [[noreturn]] void leave_stuck(stop_reason reason)
    {
        leave(reason);
        say("tonelink send", "cannot write the sound to standard output: its reader takes none");
        _exit(kFileError);
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
        return left > 0 && left < kTick.count() ? static_cast<int>(left) : kTick.count();
    }

    transmission &sending_;
    send_report &report_;
    attendance &attended_;
    keyboard keys_;
    double limit_s_;
    bool is_piped_;
    uint64_t taken_ = 0; ///< samples, at the last look
    clock::time_point last_taken_{};
    clock::time_point start_ = clock::now();
};

void send(send_options options)
{
    constexpr device_use kUse{.plays = true, .hears = false};
    if (options.devices.lists)
        return print_devices(kUse, options.json ? report_form::json : report_form::text);
    transmission_plan plan = options.plan;
    length_of(options.message); // what does not fit is said before anything else goes wrong
    refuse_contradictions(options);
    if (options.devices.device)
        options.output = "alsa:" + choose_device(*options.devices.device, kUse).name;
    const report_style style = style_of(options);
    set_up_host(options);
    const message_choice choice = choose_pairing(options.message);
    plan.message = message_of(choice);
    if (output_of(options).starts_with("wav:")) plan.failed_output = kFileError;

    // A reader that goes away is a failure like others, told once the volumes are back.
    std::signal(SIGPIPE, SIG_IGN);
    attendance attended;
    const auto sending = start(plan, attended);
    send_report report{plan, choice.pin, style};
    send_loop loop{*sending, report, attended,
                   options.limit_s.value_or(std::numeric_limits<double>::infinity()),
                   plays_to_standard_output(options)};
    loop.finish(loop.play());
}

} // namespace

void add_send_command(CLI::App &program)
{
    auto options = std::make_shared<send_options>();
    CLI::App *command = program.add_subcommand("send", "Play a message until it is stopped");
    command->footer(kSendExamples);

    add_message_options(*command, options->message);
    command->get_option("--pin")->description(
        "PIN to pair with: 0 to 65535, with --bits 48 to 4294967295; else a random one");
    command->get_option("--address")
        ->description(
            "Bluetooth address to pair with, as in AA:BB:CC:DD:EE:FF; else this machine's own");
    const auto option = [command](const char *name, auto &value, const char *type,
                                  const char *meaning) {
        return command->add_option(name, value, meaning)->type_name(type);
    };
    option("--for", options->limit_s, "SECONDS", "Stop after this time, when a write is through")
        ->transform(number_from<double>(0.1, 1e6));
    option(
        "--count", options->plan.copies, "NUMBER",
        "Stop after so many copies of the burst; all players but standalone write five at a time")
        ->transform(number_from<uint64_t>(1, 1'000'000));
    CLI::Option *by =
        option("--player", options->plan.by, "", "Who writes to the output (default thread)");
    take_one_of<player>(*by, {{"thread", player::thread},
                              {"callback", player::callback},
                              {"standalone", player::standalone}});
    option("--output", options->output, "wav:PATH|alsa[:DEVICE]|none",
           "Where to play; wav:- is standard output (default TONELINK_AUDIO, else alsa)");
    add_device_options(*command, options->devices);
    option("--rate", options->plan.rate, "HERTZ", "Sample rate of the output (default 44100)")
        ->transform(number_from(8000, 192'000));
    option("--master-volume", options->master_volume, "NUMBER",
           "Set the master volume first, 0 to 100 (else it is 20); above 90 nothing is heard")
        ->transform(number_from(0, 100));
    command->add_flag("--av-product", options->av_product, "Choose the volume as on an AV product");
    command->add_flag("--json", options->json, "Tell what happens as lines of JSON");
    command->add_flag("-q,--quiet", options->quiet, "Say nothing but what is wrong");
    command->add_flag("-v,--verbose", options->verbose,
                      "Show the library's log on standard error, as TONELINK_LOG=stderr does");
    command->callback([options] { send(*options); });
}

} // namespace tonelink::tool
