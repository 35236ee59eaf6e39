// The option that says which messages are listened for, which `decode` and `listen` have in common.
#pragma once

#include <CLI/CLI.hpp>

#include "modem/heard_message.h"

namespace tonelink::tool {

/// Adds --bits: 32, 48 or both.
void add_lengths_option(CLI::App &command, message_lengths &lengths);

} // namespace tonelink::tool
