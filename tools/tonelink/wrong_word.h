// Words on the command line that mean nothing, and what was probably meant.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace tonelink::tool {

/// The one of `names` that `word` is most like, if it is like any: all but a third of its letters
/// in their place, or its beginning.
std::optional<std::string> nearest(const std::string &word, const std::vector<std::string> &names);

/// "'sned' is no command; did you mean 'send'?"
std::string no_command(const CLI::App &program, const std::string &word);

/// Says so of the first word that `program` could make nothing of, or nothing. An option goes
/// first: what follows it may have been its value.
std::optional<std::string> name_wrong_word(const CLI::App &program);

/// Says so of a word that is a long option but for a hyphen, "-help", or nothing: CLI11 would take
/// it for short ones, one a letter. A word behind an option may be its value.
std::optional<std::string> name_single_hyphen(const CLI::App &program, int argc,
                                              const char *const *argv);

} // namespace tonelink::tool
