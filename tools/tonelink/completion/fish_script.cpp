#include "completion/scripts.h"

namespace tonelink::tool {
namespace {

constexpr const char *kBegin =
    R"(# Completes the words of tonelink; made by 'tonelink completion fish'.

# Whether the first word behind tonelink is the one that is given, or there is none yet.
function __tonelink_command
    set -l words (commandline -opc)
    test "$words[2]" = "$argv[1]"
end

# Names of files behind words such as wav:
function __tonelink_files_behind
    set -l typed (string replace -r '^--[^=]*=' '' -- (commandline -ct))
    for prefix in $argv
        if string match -q -- "$prefix*" $typed
            string replace -r '^' $prefix -- (__fish_complete_path (string replace -- $prefix '' $typed))
        end
    end
end

complete -c tonelink -f
)";

/// A text within apostrophes.
std::string quoted(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "'";
}

std::string arguments_of(const argument_choices &choices)
{
    std::vector<std::string> words = choices.words;
    for (const auto *prefixes : {&choices.prefixes, &choices.path_prefixes})
        words.insert(words.end(), prefixes->begin(), prefixes->end());
    if (!choices.path_prefixes.empty())
        words.push_back("(__tonelink_files_behind " + joined_words(choices.path_prefixes, " ") +
                        ")");
    if (choices.is_file) {
        words.push_back("(__fish_complete_suffix");
        for (const std::string &suffix : choices.suffixes) words.back() += " ." + suffix;
        words.back() += ")";
    }
    return words.empty() ? "" : " -a " + quoted(joined_words(words, " "));
}

std::string line_of(const option_row &option, const std::string &command)
{
    std::string line = "complete -c tonelink -n '__tonelink_command " + command + "'";
    for (const std::string &name : option.names)
        line += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
    if (!option.names.empty() && !option.argument.empty()) line += " -x";
    return line + arguments_of(option.choices) +
           (option.names.empty() ? "" : " -d " + quoted(option.meaning)) + "\n";
}

} // namespace

std::string fish_script(const option_table &table)
{
    std::string script = kBegin;
    for (const option_row &option : table.options) script += line_of(option, "");
    for (const command_row &command : table.commands)
        script += "complete -c tonelink -n '__tonelink_command' -a " + command.name + " -d " +
                  quoted(command.meaning) + "\n";
    for (const command_row &command : table.commands)
        for (const option_row &option : command.options) script += line_of(option, command.name);
    return script;
}

} // namespace tonelink::tool
