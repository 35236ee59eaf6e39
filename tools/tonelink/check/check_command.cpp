// `tonelink check`: whether this machine can send and hear, by playing a sound and listening to it.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <string>

#include <tonelink/receiver.h>

#include "arguments.h"
#include "burst_shape.h"
#include "check/check_picture.h"
#include "check/check_report.h"
#include "check/played_and_heard.h"
#include "check/probe.h"
#include "command.h"
#include "device_choice.h"
#include "errors.h"
#include "events.h"
#include "output_file.h"
#include "progress_line.h"
#include "sound_file.h"

namespace tonelink::tool {
namespace {

constexpr const char *kCheckExamples = R"(Examples:
  tonelink check
  tonelink check --list-devices
  tonelink check --device hw:0 -o check.png
  tonelink check --output wav:probe.wav    # to be played elsewhere
  tonelink check --input wav:recorded.wav  # that recording, heard
The exit status is 0 where messages get through, 1 where they do not, 4 for a device that
cannot be used.)";

constexpr double kUsualLevel = -6;
constexpr double kUsualSeconds = 10;
constexpr double kLongest = 60; ///< seconds of sound that are kept

/// Which sides of the path are looked at.
enum class sides { both, output, input };

struct check_options {
    std::optional<std::string> output, input;
    device_options devices;
    sides only = sides::both;
    double level_db = kUsualLevel;
    std::optional<double> seconds;
    std::optional<std::string> picture;
    bool json = false;
};

/// What the options come to.
struct check_plan {
    check_devices devices;
    std::optional<std::string> output_file, input_file; ///< in place of a device
};

bool is_file(const std::optional<std::string> &choice)
{
    return choice && choice->starts_with("wav:") && choice->size() > 4;
}

std::string file_of(const std::string &choice) { return choice.substr(4); }

std::string device_of(const std::optional<std::string> &choice, const char *option)
{
    if (const auto name = alsa_name_of(choice.value_or("alsa"))) return *name;
    throw wrong_usage{std::string{option} + " '" + *choice +
                      "' is not right: it is alsa, alsa:DEVICE or wav:PATH"};
}

void refuse_contradictions(const check_options &options)
{
    const bool has_output = options.output || options.only == sides::output;
    const bool has_input = options.input || options.only == sides::input;
    if (options.devices.device && (options.output || options.input))
        throw wrong_usage{"--device says what --output and --input do; either is right, not both"};
    if (is_file(options.output) && has_input)
        throw wrong_usage{"--output wav:PATH writes the sound that is to be played elsewhere, so "
                          "there is nothing to hear; --input wav:PATH is right once it was "
                          "recorded"};
    if (is_file(options.input) && has_output)
        throw wrong_usage{"--input wav:PATH has been played already, so there is nothing to play"};
    if ((options.only == sides::output && options.input) ||
        (options.only == sides::input && options.output))
        throw wrong_usage{"--only leaves out the side that the other option names"};
    if (options.seconds && options.only != sides::input)
        throw wrong_usage{"--seconds is for --only input; else the sound says how long it takes"};
    if (options.picture) require_picture_name(*options.picture);
}

check_plan plan_of(const check_options &options)
{
    refuse_contradictions(options);
    check_plan plan;
    if (is_file(options.output)) {
        plan.output_file = file_of(*options.output);
        return plan;
    }
    if (is_file(options.input)) {
        plan.input_file = file_of(*options.input);
        return plan;
    }
    const bool plays = options.only != sides::input, hears = options.only != sides::output;
    plan.devices.output = device_of(options.output, "--output");
    plan.devices.input = device_of(options.input, "--input");
    if (options.devices.device) { // which may be of one side alone
        const auto [name, can] = choose_device(*options.devices.device, {plays, hears});
        if (can.plays) plan.devices.output = name;
        if (can.hears) plan.devices.input = name;
    }
    if (!plays) plan.devices.output.reset();
    if (!hears) plan.devices.input.reset();
    return plan;
}

void write_probe(const std::string &path, double level_db)
{
    output_file file{path};
    sound_writer sound{file.descriptor(), sound_format::wav, file.name()};
    sound.write(make_probe(level_db));
    sound.finish();
    file.commit();
}

/// A recording that somebody else made; of a long one, the beginning.
recording read_recording(const std::string &path)
{
    sound_reader sound{{.path = path}};
    if (sound.sample_rate() > TONELINK_RECEIVER_HIGHEST_RATE)
        throw file_failure{joined(0, "cannot check ", sound.name(), ": its sample rate of ",
                                  sound.sample_rate(), " Hz is too high; up to ",
                                  TONELINK_RECEIVER_HIGHEST_RATE, " Hz is right")};
    recording heard;
    heard.rate = sound.sample_rate();
    const auto most = static_cast<std::size_t>(kLongest * heard.rate);
    for (auto block = sound.read(); !block.empty() && heard.samples.size() < most;
         block = sound.read())
        heard.samples.insert(heard.samples.end(), block.begin(), block.end());
    if (const std::string remark = sound.remark(); !remark.empty()) say("tonelink check", remark);
    return heard;
}

std::string option_text(const std::optional<std::string> &device)
{
    return device ? "alsa:" + *device : "";
}

void warn(const std::string &warning)
{
    if (!warning.empty()) say("tonelink check", "warning: " + warning);
}

/// On devices. One that cannot be used is a result as well, for programs.
check_result check_on_devices(const check_options &options, const check_devices &devices)
{
    check_result done;
    done.output = option_text(devices.output);
    done.input = option_text(devices.input);
    done.task = {.plays = devices.output.has_value(), .hears = devices.input.has_value()};
    const stop_signals signals;
    const stop_watch watch{signals, [](int signal) { end_by(signal); }};
    progress_line progress{"checking", true};
    try {
        const check_recording got =
            play_and_hear(devices, options.level_db, options.seconds.value_or(kUsualSeconds),
                          [&](double share) { progress.show(share); });
        progress.clear();
        warn(got.output_warning);
        warn(got.input_warning);
        done.task.output_rate = got.output_rate;
        done.task.input_rate = got.input_rate;
        if (!done.task.hears) return done;
        done.task.cancels_echo = cancels_echo(*devices.input);
        done.figures = measure_path(got.heard);
    } catch (const unusable_device &error) {
        progress.clear();
        done.verdict = {path_state::bad, {error.reason}};
        if (options.json) print(line_of(done));
        throw;
    }
    return done;
}

/// Of a recording, which holds the probe unless it is one of the room alone.
check_result check_recorded(const check_options &options, const std::string &path)
{
    recording heard = read_recording(path);
    heard.played_dbfs = options.level_db;
    check_result done;
    done.input = *options.input;
    done.task = {.plays = options.only != sides::input, .hears = true, .input_rate = heard.rate};
    done.figures = measure_path(heard);
    return done;
}

/// Returns the exit status.
int check(const check_options &options)
{
    const report_form form = options.json ? report_form::json : report_form::text;
    if (options.devices.lists) {
        print_devices({options.only != sides::input, options.only != sides::output}, form);
        return kDone;
    }
    const check_plan plan = plan_of(options);
    if (plan.output_file) {
        write_probe(*plan.output_file, options.level_db);
        return kDone;
    }
    std::optional<output_file> picture; // first, as what follows takes its time
    if (options.picture) picture.emplace(*options.picture);
    check_result done = plan.input_file ? check_recorded(options, *plan.input_file)
                                        : check_on_devices(options, plan.devices);
    done.verdict = judge_path(done.figures, done.task);
    print(options.json ? line_of(done) : text_of(done));
    if (picture) {
        draw_check(done).write_png(*picture);
        picture->commit();
    }
    return done.verdict.state == path_state::bad ? kNothingHeard : kDone;
}

} // namespace

void add_check_command(CLI::App &program, int &status)
{
    auto options = std::make_shared<check_options>();
    CLI::App *command =
        program.add_subcommand("check", "Say whether this machine can send and hear");
    command->footer(kCheckExamples);
    const auto option = [command](const char *name, auto &value, const char *type,
                                  const char *meaning) {
        return command->add_option(name, value, meaning)->type_name(type);
    };
    option("--output", options->output, "alsa[:DEVICE]|wav:PATH",
           "Where to play (default alsa); wav:PATH writes what is played");
    option("--input", options->input, "alsa[:DEVICE]|wav:PATH",
           "Where to listen (default alsa); wav:PATH is a recording of that");
    add_device_options(*command, options->devices);
    take_one_of<sides>(*option("--only", options->only, "output|input", "Look at one side alone"),
                       {{"output", sides::output}, {"input", sides::input}});
    option("--level", options->level_db, "DECIBELS",
           "Peak of what is played, -60 to -1 (default -6)")
        ->transform(number_from<double>(-60, -1));
    option("--seconds", options->seconds, "SECONDS",
           "How long to listen with --only input (default 10)")
        ->transform(number_from<double>(1, kLongest));
    option("-o,--picture", options->picture, "FILE.png",
           "Picture to write: response, noise and figures");
    command->add_flag("--json", options->json, "Print an object of JSON, for programs");
    command->callback([options, &status] { status = check(*options); });
}

} // namespace tonelink::tool
