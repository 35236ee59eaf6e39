#include "completion/scripts.h"

namespace tonelink::tool {
namespace {

/// Finds out what is typed, of which command and behind which option. The tables are between this
/// and kEnd.
constexpr const char *kBegin =
    R"(# Completes the words of tonelink; made by 'tonelink completion bash'.

# Replies with what begins as the word that is typed. $1 are words, $2 is "file" where the name of a file
# may stand, $3 are the suffixes of such names, and $4 what names of other files may follow.
_tonelink_reply()
{
    local word prefix breaks cut=
    local -a replies=()
    for word in $1; do
        if [[ $word == "$typed"* ]]; then replies+=("$lead$word"); fi
    done
    for prefix in $4; do
        if [[ $typed == "$prefix"* ]]; then
            lead+=$prefix typed=${typed#"$prefix"}
            _tonelink_files ''
        fi
    done
    if [[ $2 == file ]]; then _tonelink_files "$3"; fi
    # The shell takes words apart at some characters, and wants what is behind the last one.
    breaks=${COMP_WORDBREAKS//[^:=]}
    if [[ $breaks ]]; then cut=${current%"${current##*[$breaks]}"}; fi
    COMPREPLY=("${replies[@]#"$cut"}")
    if [[ ${#replies[@]} == 1 && $replies == *: ]]; then compopt -o nospace 2>/dev/null; fi
}

# Adds names of files: those with one of the suffixes $1 and folders, or all where none has.
_tonelink_files()
{
    local name suffix has_right=
    local -a every=() right=()
    compopt -o filenames 2>/dev/null
    while IFS= read -r name; do
        every+=("$lead$name")
        if [[ -d $name ]]; then right+=("$lead$name"); fi
        for suffix in $1; do
            if [[ ${name,,} == *."$suffix" ]]; then right+=("$lead$name") has_right=1; fi
        done
    done < <(compgen -f -- "$typed")
    if [[ $has_right ]]; then replies+=("${right[@]}"); else replies+=("${every[@]}"); fi
}

_tonelink()
{
    local i word current before= command= lead= typed is_apart=
    local -a line=('')
    COMPREPLY=()
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ $word == [:=]* || $is_apart ]]; then line[-1]+=$word; else line+=("$word"); fi
        if [[ $word == [:=]* ]]; then is_apart=1; else is_apart=; fi
    done
    current=${line[-1]}
    unset 'line[-1]'
    for word in "${line[@]:1}"; do
        before=$word
        if [[ ! $command && $word != -* ]]; then command=$word; fi
    done
    typed=${current//\\}
    typed=${typed#[\"\']}
    if [[ $typed == --*=* ]]; then
        before=${typed%%=*} lead=${typed%%=*}= typed=${typed#*=}
    fi
    case "$command $before $current" in
)";

constexpr const char *kEnd = R"(    esac
}
complete -F _tonelink tonelink
)";

std::string reply_to(const argument_choices &choices)
{
    std::vector<std::string> words = choices.words;
    for (const auto *prefixes : {&choices.prefixes, &choices.path_prefixes})
        words.insert(words.end(), prefixes->begin(), prefixes->end());
    if (words.empty() && !choices.is_file) return "";
    return " _tonelink_reply '" + joined_words(words, " ") + "' '" +
           (choices.is_file ? "file" : "") + "' '" + joined_words(choices.suffixes, " ") + "' '" +
           joined_words(choices.path_prefixes, " ") + "'";
}

/// The cases of a command's options that take an argument.
std::string cases_of(const command_row &command)
{
    std::string cases;
    for (const option_row &option : command.options) {
        if (option.names.empty() || option.argument.empty()) continue;
        std::vector<std::string> words;
        for (const std::string &name : option.names)
            words.push_back("'" + command.name + ' ' + name + " '*");
        cases += "    " + joined_words(words, " | ") + ")" + reply_to(option.choices) + " ;;\n";
    }
    return cases;
}

std::string names_of(const std::vector<option_row> &options)
{
    std::string names;
    for (const option_row &option : options)
        for (const std::string &name : option.names) names += (names.empty() ? "" : " ") + name;
    return names;
}

/// What stands for itself in a command: its options behind a hyphen, or where there is nothing
/// else.
std::string case_of(const std::string &pattern, const std::vector<option_row> &options,
                    const argument_choices &words)
{
    const std::string for_options = " _tonelink_reply '" + names_of(options) + "' ''";
    const std::string for_words = reply_to(words);
    if (for_words.empty()) return "    " + pattern + "*)" + for_options + " ;;\n";
    return "    " + pattern + "-*)" + for_options + " ;;\n    " + pattern + "*)" + for_words +
           " ;;\n";
}

} // namespace

std::string bash_script(const option_table &table)
{
    std::string script = kBegin;
    argument_choices commands;
    for (const command_row &command : table.commands) {
        commands.words.push_back(command.name);
        script += cases_of(command);
    }
    script += case_of("' '*' '", table.options, commands);
    for (const command_row &command : table.commands) {
        argument_choices words;
        for (const option_row &option : command.options)
            if (option.names.empty()) words = option.choices;
        script += case_of("'" + command.name + " '*' '", command.options, words);
    }
    return script + kEnd;
}

} // namespace tonelink::tool
