#include "wrong_word.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

namespace tonelink::tool {
namespace {

std::string lower_case(std::string text)
{
    for (char &c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// How many letters must be put in, left out, changed, or swapped with their neighbour.
std::size_t edits_between(const std::string &one, const std::string &other)
{
    std::vector<std::size_t> before(other.size() + 1), last(other.size() + 1), now(last);
    for (std::size_t j = 0; j < now.size(); ++j) now[j] = j;
    for (std::size_t i = 1; i <= one.size(); ++i) {
        before = std::exchange(last, now);
        now[0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const bool differs = one[i - 1] != other[j - 1];
            now[j] = std::min({last[j] + 1, now[j - 1] + 1, last[j - 1] + differs});
            const bool is_swapped =
                i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1];
            if (is_swapped) now[j] = std::min(now[j], before[j - 2] + 1);
        }
    }
    return now.back();
}

std::vector<std::string> command_names(const CLI::App &program)
{
    std::vector<std::string> names;
    for (const CLI::App *command : program.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(command->get_name());
    return names;
}

std::vector<std::string> option_names(const CLI::App &command)
{
    std::vector<std::string> names;
    for (const CLI::Option *option : command.get_options()) {
        for (const std::string &name : option->get_lnames()) names.push_back("--" + name);
        for (const std::string &name : option->get_snames()) names.push_back("-" + name);
    }
    return names;
}

/// @param command  whose help shows what is right: "tonelink send"
std::string line_of(const std::string &what, const std::optional<std::string> &meant,
                    const std::string &command)
{
    if (meant) return what + "; did you mean '" + *meant + "'?";
    return what + "; '" + command + " --help' shows what is right";
}

} // namespace

std::optional<std::string> nearest(const std::string &word, const std::vector<std::string> &names)
{
    const std::string typed = lower_case(word);
    std::optional<std::string> best;
    std::size_t fewest = std::numeric_limits<std::size_t>::max();
    for (const std::string &name : names) {
        const bool begins_it = typed.size() > 2 && name.starts_with(typed);
        const std::size_t edits = begins_it ? 1 : edits_between(typed, name);
        if (edits >= fewest || 3 * edits > std::max(typed.size(), name.size())) continue;
        fewest = edits;
        best = name;
    }
    return best;
}

std::string no_command(const CLI::App &program, const std::string &word)
{
    return line_of("'" + word + "' is no command", nearest(word, command_names(program)),
                   program.get_name());
}

std::optional<std::string> name_wrong_word(const CLI::App &program)
{
    const auto chosen = program.get_subcommands();
    const bool is_early = chosen.empty() || !program.remaining().empty(); // before any command
    const CLI::App &command = is_early ? program : *chosen.back();
    const std::vector<std::string> words = command.remaining();
    if (words.empty()) return std::nullopt;
    const auto option = std::ranges::find_if(
        words, [](const std::string &word) { return word.size() > 1 && word.starts_with('-'); });
    const std::string name =
        is_early ? program.get_name() : program.get_name() + " " + command.get_name();
    if (option == words.end() && is_early) return no_command(program, words.front());
    if (option == words.end())
        return line_of("'" + words.front() + "' is one word too many", std::nullopt, name);
    const std::string typed = option->substr(0, option->find('='));
    if (is_early && !chosen.empty() && std::ranges::count(option_names(*chosen.back()), typed) > 0)
        return "'" + typed + "' goes after the command, as in '" + name + " " +
               chosen.back()->get_name() + " " + typed + "'";
    if (typed == "--")
        return "what looks like an option is none behind '--', which goes before names alone";
    if (!is_early && std::ranges::count(option_names(program), typed) > 0)
        return "'" + typed + "' goes before the command, as in '" + program.get_name() + " " +
               typed + "'";
    if (std::error_code unknown; std::filesystem::exists(*option, unknown))
        return "'" + *option + "' is no option; './" + *option + "' is the file of that name";
    return line_of("'" + typed + "' is no option", nearest(typed, option_names(command)), name);
}

std::optional<std::string> name_single_hyphen(const CLI::App &program, int argc,
                                              const char *const *argv)
{
    std::vector<std::string> names = option_names(program);
    for (const CLI::App *command : program.get_subcommands([](const CLI::App *) { return true; }))
        std::ranges::copy(option_names(*command), std::back_inserter(names));
    const auto is_meant = [&](std::string_view word) {
        return word.size() > 3 && word[0] == '-' && word[1] != '-' &&
               std::ranges::any_of(names, [&](std::string_view name) {
                   return name.size() == word.size() + 1 && name.ends_with(word);
               });
    };
    for (int i = 1; i < argc; ++i) {
        const bool is_value = i > 1 && argv[i - 1][0] == '-';
        if (is_value || !is_meant(argv[i])) continue;
        const std::string word = argv[i];
        return line_of("'" + word + "' is no option", '-' + word, program.get_name());
    }
    return std::nullopt;
}

} // namespace tonelink::tool
