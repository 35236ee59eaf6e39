// What each shell reads to complete the words of a command line.
#pragma once

#include <string>

#include "completion/option_table.h"

namespace tonelink::tool {

std::string bash_script(const option_table &table);
std::string zsh_script(const option_table &table);
std::string fish_script(const option_table &table);

} // namespace tonelink::tool
