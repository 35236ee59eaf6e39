// The `tonelink` command: reads the arguments, runs the command that they name, and turns what went
// wrong into one line on standard error and an exit status.
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "command.h"
#include "errors.h"
#include "report_text.h"
#include "standard_streams.h"

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

/// @param status  what a command has made the exit status, as add_decode_command() says
int run(CLI::App &program, int argc, char **argv, const int &status)
{
    const auto fail = [&](const char *what) {
        return complain(program, what, status == kDone ? kFailed : status);
    };
    try {
        program.parse(argc, argv);
        return status;
    } catch (const CLI::Success &help_or_version) {
        program.exit(help_or_version);
        std::cout.flush();
        return std::cout ? kDone : complain(program, "cannot write to standard output", kFailed);
    } catch (const CLI::ParseError &error) {
        return complain(program,
                        std::string{error.what()} + "; '" + called_name(program) +
                            " --help' shows what is right",
                        kWrongUsage);
    } catch (const wrong_usage &error) {
        return complain(program, error.what(), kWrongUsage);
    } catch (const std::bad_alloc &) {
        return fail("out of memory");
    } catch (const std::exception &error) {
        return fail(error.what());
    }
}

/// Makes --help count before anything else that was typed, right or wrong.
void put_help_first(CLI::App &program)
{
    for (CLI::App *command : program.get_subcommands([](CLI::App *) { return true; }))
        command->get_help_ptr()
            ->check([](const std::string &) -> std::string { throw CLI::CallForHelp{}; })
            ->trigger_on_parse();
}

} // namespace
} // namespace tonelink::tool

int main(int argc, char **argv)
try {
    tonelink::tool::hold_standard_streams();
    int status = tonelink::tool::kDone;
    CLI::App program{"Short messages as near-ultrasonic sound.", "tonelink"};
    program.set_version_flag("--version", "tonelink " TONELINK_VERSION);
    program.require_subcommand(1);
    program.get_formatter()->column_width(30);
    program.get_formatter()->label("SUBCOMMAND", "COMMAND");
    program.footer("'tonelink COMMAND --help' explains a command and shows an example.");
    tonelink::tool::add_send_command(program);
    tonelink::tool::add_encode_command(program);
    tonelink::tool::add_decode_command(program, status);
    tonelink::tool::add_listen_command(program);
    tonelink::tool::add_plot_command(program);
    tonelink::tool::put_help_first(program);
    return tonelink::tool::run(program, argc, argv, status);
} catch (const std::exception &error) {
    tonelink::tool::say("tonelink", error.what());
    return tonelink::tool::kFailed;
}
