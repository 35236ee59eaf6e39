// `tonelink completion`: what a shell reads to complete the words of a command line.
#include <memory>

#include "arguments.h"
#include "command.h"
#include "completion/scripts.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

constexpr const char *kCompletionExamples = R"(Examples:
  source <(tonelink completion bash)
  tonelink completion fish >~/.config/fish/completions/tonelink.fish
An installed tonelink has installed them: no shell needs to be told.)";

enum class shell { bash, zsh, fish };

std::string script_for(shell reader, const option_table &table)
{
    switch (reader) {
    case shell::bash: return bash_script(table);
    case shell::zsh: return zsh_script(table);
    case shell::fish: return fish_script(table);
    }
    return "";
}

} // namespace

void add_completion_command(CLI::App &program)
{
    auto reader = std::make_shared<shell>();
    CLI::App *command =
        program.add_subcommand("completion", "Print what a shell completes words with");
    command->footer(kCompletionExamples);
    CLI::Option *option = command->add_option("bash|zsh|fish", *reader, "The shell");
    take_one_of<shell>(*option->required(),
                       {{"bash", shell::bash}, {"zsh", shell::zsh}, {"fish", shell::fish}});
    command->callback([&program, reader] { print(script_for(*reader, table_of(program))); });
}

} // namespace tonelink::tool
