#include "completion/scripts.h"

namespace tonelink::tool {
namespace {

constexpr const char *kBegin = R"(#compdef tonelink
# Completes the words of tonelink; made by 'tonelink completion zsh'.

# Completes words; what something follows ends with a colon, or with :@ where that is the name of a file.
_tonelink_argument()
{
    local choice
    local -a words prefixes
    for choice; do
        case $choice in
        (*:@)
            if compset -P "${choice%@}"; then
                _files
                return
            fi
            prefixes+=("${choice%@}")
            ;;
        (*:) prefixes+=("$choice") ;;
        (*) words+=("$choice") ;;
        esac
    done
    compadd -S '' -a prefixes
    compadd -a words
}

_tonelink()
{
    local curcontext=$curcontext state line
    local -a commands
    local -A opt_args
)";

constexpr const char *kEnd = R"(        esac
        ;;
    esac
}

if [[ $funcstack[1] == _tonelink ]]; then _tonelink "$@"; else compdef _tonelink tonelink; fi
)";

/// With a backslash before each of some characters.
std::string escaped(const std::string &text, const std::string &which)
{
    std::string escaped;
    for (const char c : text) {
        if (which.find(c) != std::string::npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

/// A text within apostrophes.
std::string quoted(const std::string &text)
{
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

/// Who completes an argument, as _arguments has it.
std::string action_of(const argument_choices &choices)
{
    if (choices.is_file)
        return "_files -g \"(#i)*.(" + joined_words(choices.suffixes, "|") + ")(-.)\"";
    std::vector<std::string> words = choices.words;
    for (const std::string &prefix : choices.prefixes) words.push_back(escaped(prefix, ":"));
    for (const std::string &prefix : choices.path_prefixes)
        words.push_back(escaped(prefix, ":") + "@");
    if (words.empty()) return " ";
    return "{_tonelink_argument " + joined_words(words, " ") + "}";
}

std::string name_of_argument(const option_row &option)
{
    std::string name = option.argument;
    for (char &c : name)
        if (c == ':') c = ' ';
    return name;
}

/// The line of an option for _arguments.
std::string line_of(const option_row &option)
{
    const std::string argument = option.argument.empty() ? ""
                                                         : "':" + name_of_argument(option) + ":" +
                                                               action_of(option.choices) + "'";
    if (option.names.empty()) return (option.is_repeated ? "'*'" : "") + argument;
    std::vector<std::string> names = option.names;
    if (!option.argument.empty())
        for (std::string &name : names) name += name.starts_with("--") ? "=" : "+";
    const bool ends_all = option.names.back() == "--help" || option.names.back() == "--version";
    const std::string others = ends_all ? "- *" : joined_words(option.names, " ");
    const std::string all =
        names.size() == 1 ? names.front() : "{" + joined_words(names, ",") + "}";
    return "'(" + others + ")'" + all + quoted("[" + escaped(option.meaning, "[]:") + "]") +
           argument;
}

std::string lines_of(const std::vector<option_row> &options, const std::string &indent)
{
    std::string lines;
    for (const option_row &option : options) lines += " \\\n" + indent + line_of(option);
    return lines;
}

} // namespace

std::string zsh_script(const option_table &table)
{
    std::string script = kBegin;
    script += "    commands=(\n";
    for (const command_row &command : table.commands)
        script += "        " + quoted(command.name + ":" + command.meaning) + "\n";
    script += "    )\n    _arguments -C" + lines_of(table.options, "        ") +
              " \\\n        ':command:->command' '*::argument:->argument'\n"
              "    case $state in\n"
              "    (command) _describe -t commands command commands ;;\n"
              "    (argument)\n"
              "        case $words[1] in\n";
    for (const command_row &command : table.commands)
        script += "        (" + command.name + ") _arguments -S" +
                  lines_of(command.options, "            ") + " ;;\n";
    return script + kEnd;
}

} // namespace tonelink::tool
