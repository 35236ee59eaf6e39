#include "completion/option_table.h"

#include <algorithm>
#include <array>
#include <sstream>

namespace tonelink::tool {
namespace {

/// Of the files that libsndfile reads, and of bare samples.
constexpr std::array kSoundSuffixes{"wav", "flac", "ogg", "oga", "opus", "mp3",  "aiff",
                                    "aif", "aifc", "au",  "caf", "w64",  "rf64", "raw"};

std::vector<std::string> parts_of(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    std::istringstream rest{text};
    for (std::string part; std::getline(rest, part, separator);) parts.push_back(part);
    return parts;
}

/// One of an argument's alternatives: a word, or what capitals stand for behind what may be typed.
void add_choice(argument_choices &choices, const std::string &form,
                const std::vector<std::string> &commands)
{
    const auto capital = form.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    if (capital == std::string::npos) return choices.words.push_back(form);
    const std::string before = form.substr(0, capital), stands_for = form.substr(capital);
    if (before.empty() && stands_for == "COMMAND") choices.words = commands;
    if (!before.empty())
        (stands_for == "PATH" ? choices.path_prefixes : choices.prefixes).push_back(before);
    if (!before.empty() || !stands_for.starts_with("FILE")) return;
    choices.is_file = true;
    const auto dot = stands_for.find('.');
    if (dot != std::string::npos)
        choices.suffixes.push_back(stands_for.substr(dot + 1));
    else
        choices.suffixes.assign(kSoundSuffixes.begin(), kSoundSuffixes.end());
}

argument_choices choices_of(const std::string &argument, const std::vector<std::string> &commands)
{
    argument_choices choices;
    for (const std::string &form : parts_of(argument, '|')) {
        const auto bracket = form.find('[');
        if (bracket == std::string::npos) {
            add_choice(choices, form, commands);
            continue;
        }
        const std::string before = form.substr(0, bracket);
        add_choice(choices, before, commands);
        add_choice(choices, before + form.substr(bracket + 1, form.size() - bracket - 2), commands);
    }
    return choices;
}

/// Its first words: what the others explain is in help and manual.
std::string brief(const std::string &meaning)
{
    return meaning.substr(0, std::min({meaning.find(':'), meaning.find(';'), meaning.find(" ("),
                                       meaning.find(", ")}));
}

std::vector<option_row> rows_of(const CLI::App &command, const std::vector<std::string> &commands)
{
    std::vector<option_row> rows;
    for (const CLI::Option *option : command.get_options()) {
        const bool is_flag = option->get_items_expected_max() == 0;
        std::string argument = is_flag ? "" : option->get_type_name();
        if (!option->nonpositional()) argument = option->get_name();
        option_row row{.names = {},
                       .argument = argument,
                       .choices = choices_of(argument, commands),
                       .meaning = brief(option->get_description()),
                       .is_repeated =
                           option->get_expected_max() == CLI::detail::expected_max_vector_size};
        for (const std::string &name : option->get_snames()) row.names.push_back("-" + name);
        for (const std::string &name : option->get_lnames()) row.names.push_back("--" + name);
        rows.push_back(row);
    }
    return rows;
}

} // namespace

option_table table_of(const CLI::App &program)
{
    option_table table;
    std::vector<std::string> names;
    const auto commands = program.get_subcommands([](const CLI::App *) { return true; });
    names.reserve(commands.size());
    for (const CLI::App *command : commands) names.push_back(command->get_name());
    table.options = rows_of(program, names);
    for (const CLI::App *command : commands)
        table.commands.push_back({.name = command->get_name(),
                                  .meaning = command->get_description(),
                                  .options = rows_of(*command, names)});
    return table;
}

std::string joined_words(const std::vector<std::string> &words, const std::string &separator)
{
    std::string text;
    for (const std::string &word : words) text += (text.empty() ? "" : separator) + word;
    return text;
}

} // namespace tonelink::tool
