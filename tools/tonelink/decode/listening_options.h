// The options that say which messages are listened for, and how, which `decode` and `listen` have
// in common.
#pragma once

#include <CLI/CLI.hpp>

#include "decode/burst_receiver.h"

namespace tonelink::tool {

/// Adds --bits and --method.
void add_listening_options(CLI::App &command, listening &wanted);

} // namespace tonelink::tool
