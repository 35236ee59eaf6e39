// The `tonelink` command: reads the arguments, runs the command that they name, and turns what went
// wrong into one line on standard error and an exit status.
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include "command.h"
#include "errors.h"
#include "report_text.h"
#include "standard_streams.h"
#include "wrong_word.h"

namespace tonelink::tool {
namespace {

/// "tonelink encode" once a command has been recognised, "tonelink" before.
std::string called_name(const CLI::App &program)
{
    std::string name = program.get_name();
    for (const CLI::App *command : program.get_subcommands()) name += " " + command->get_name();
    return name;
}

int complain(const CLI::App &program, const std::string &what, int status)
{
    say(called_name(program), what);
    return status;
}

bool is_help(const CLI::Success &reason) { return reason.get_name() == "CallForHelp"; }

std::string what_is_wrong(const CLI::App &program, const CLI::ParseError &error)
{
    const bool is_short = dynamic_cast<const CLI::RequiredError *>(&error) != nullptr;
    // Where something is missing, a wrong word may have been meant to be it.
    if (is_short || dynamic_cast<const CLI::ExtrasError *>(&error) != nullptr)
        if (const auto wrong = name_wrong_word(program)) return *wrong;
    const bool has_command = !program.get_subcommands().empty();
    return (is_short && !has_command ? "a command is missing" : std::string{error.what()}) + "; '" +
           called_name(program) + " --help' shows what is right";
}

/// @param status  what a command that did its work has made the exit status
int run(CLI::App &program, int argc, char **argv, const int &status)
{
    if (const auto wrong = name_single_hyphen(program, argc, argv))
        return complain(program, *wrong, kWrongUsage);
    try {
        program.parse(argc, argv);
        return status;
    } catch (const CLI::Success &help_or_version) {
        if (const auto wrong = program.remaining(); !wrong.empty() && is_help(help_or_version))
            return complain(program, no_command(program, wrong.front()), kWrongUsage);
        program.exit(help_or_version);
        std::cout.flush();
        return std::cout ? kDone : complain(program, "cannot write to standard output", kFileError);
    } catch (const CLI::ParseError &error) {
        return complain(program, what_is_wrong(program, error), kWrongUsage);
    } catch (const wrong_usage &error) {
        return complain(program, error.what(), kWrongUsage);
    } catch (const std::bad_alloc &) {
        return complain(program, "out of memory", kFailed);
    } catch (const std::exception &error) {
        return complain(program, error.what(), status_of(error));
    }
}

/// Makes --help count before anything else that was typed, right or wrong.
void put_help_first(CLI::App &program)
{
    for (CLI::App *command : program.get_subcommands([](CLI::App *) { return true; }))
        command->group("Commands")
            ->get_help_ptr()
            ->check([](const std::string &) -> std::string { throw CLI::CallForHelp{}; })
            ->trigger_on_parse();
}

/// Adds `help` and `help COMMAND`, which print what --help does.
void add_help_command(CLI::App &program)
{
    auto name = std::make_shared<std::string>();
    CLI::App *help = program.add_subcommand("help", "Explain a command");
    help->add_option("COMMAND", *name, "The command to explain; without it, what there is")
        ->type_name("");
    help->callback([&program, name] {
        const std::string &called = program.get_name();
        // Its help() would be that of this command.
        if (name->empty())
            return print(
                program.get_formatter()->make_help(&program, called, CLI::AppFormatMode::Normal));
        const auto commands = program.get_subcommands(
            [&](const CLI::App *command) { return command->get_name() == *name; });
        if (commands.empty()) throw wrong_usage{no_command(program, *name)};
        print(commands.front()->help(called));
    });
}

} // namespace
} // namespace tonelink::tool

int main(int argc, char **argv)
try {
    tonelink::tool::hold_standard_streams();
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a failure like others
    int status = tonelink::tool::kDone;
    CLI::App program{"Short messages as near-ultrasonic sound.", "tonelink"};
    program.set_version_flag("-V,--version", "tonelink " TONELINK_VERSION);
    program.require_subcommand(1);
    program.get_formatter()->column_width(30);
    program.get_formatter()->label("SUBCOMMAND", "COMMAND");
    program.footer("'tonelink COMMAND --help' explains a command and shows an example.");
    tonelink::tool::add_send_command(program);
    tonelink::tool::add_encode_command(program);
    tonelink::tool::add_decode_command(program, status);
    tonelink::tool::add_listen_command(program, status);
    tonelink::tool::add_check_command(program, status);
    tonelink::tool::add_plot_command(program);
    tonelink::tool::add_completion_command(program);
    tonelink::tool::add_help_command(program);
    tonelink::tool::put_help_first(program);
    return tonelink::tool::run(program, argc, argv, status);
} catch (const std::exception &error) {
    tonelink::tool::say("tonelink", error.what());
    return tonelink::tool::kFailed;
}
