// The commands, each of which adds itself to the program.
#pragma once

#include <CLI/CLI.hpp>

namespace tonelink::tool {

/// Each adds a command to `program`; CLI11 runs it once the arguments are read.
void add_completion_command(CLI::App &program);
void add_encode_command(CLI::App &program);
void add_plot_command(CLI::App &program);
void add_send_command(CLI::App &program);

/// @param status  receives the exit status, as these commands have more than one for work that is
///                done; what is thrown has its own
void add_check_command(CLI::App &program, int &status);
void add_decode_command(CLI::App &program, int &status);
void add_listen_command(CLI::App &program, int &status);

} // namespace tonelink::tool
