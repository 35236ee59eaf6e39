// The commands and their options as the parser has them, for whatever else tells of them.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace tonelink::tool {

/// What can be typed for an argument. It is read off the text that help shows for it, whose
/// capitals stand for something: "32|48", "wav:PATH|alsa[:DEVICE]|none", "FILE" for a sound,
/// "FILE.png".
struct argument_choices {
    std::vector<std::string> words{};         ///< "none", "alsa"
    std::vector<std::string> prefixes{};      ///< before what is not known: "alsa:"
    std::vector<std::string> path_prefixes{}; ///< before the name of a file: "wav:"
    std::vector<std::string> suffixes{}; ///< of the files that may stand there, without the dot
    bool is_file = false;
};

struct option_row {
    std::vector<std::string> names; ///< with their hyphens; none of a word that is no option
    std::string argument;           ///< as help shows it, empty for a flag
    argument_choices choices;
    std::string meaning; ///< in a few words
    bool is_repeated;
};

struct command_row {
    std::string name;
    std::string meaning;
    std::vector<option_row> options;
};

struct option_table {
    std::vector<option_row> options; ///< before the command
    std::vector<command_row> commands;
};

option_table table_of(const CLI::App &program);

/// The words with `separator` between them.
std::string joined_words(const std::vector<std::string> &words, const std::string &separator);

} // namespace tonelink::tool
