// What the commands share: how each one is added to the program, and how it ends when it cannot do
// its work.
#pragma once

#include <stdexcept>

#include <CLI/CLI.hpp>

namespace tonelink::tool {

/// The caller asked for something that cannot be. The text says what would be right.
struct wrong_usage : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The request was right, but it could not be carried out.
struct failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The exit statuses, as the manual page lists them.
enum exit_status { kDone = 0, kFailed = 1, kWrongUsage = 2 };

/// Each adds a command to `program`; CLI11 runs it once the arguments are read.
void add_encode_command(CLI::App &program);
void add_plot_command(CLI::App &program);

} // namespace tonelink::tool
