// The sound devices that a command can use: listed, and chosen by name or number.
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include "report_text.h"
#include "sound/device_list.h"

namespace tonelink::tool {

/// What a command does with devices.
struct device_use {
    bool plays, hears;
};

struct device_options {
    std::optional<std::string> device; ///< by name or number
    bool lists = false;                ///< list devices, and do nothing else
};

/// Adds --device and --list-devices.
void add_device_options(CLI::App &command, device_options &options);

/// Prints those of the machine's devices that a command can use, a line each. Throws failure where
/// there is none.
void print_devices(device_use use, report_form form);

/// A device that was chosen, by the name that ALSA opens it by.
struct chosen_device {
    std::string name;
    device_use can; ///< all, for a device that is not listed
};

/// Throws wrong_usage for a number that is not listed, and where the device cannot do what is
/// wanted of it: one of several things, if these are several.
chosen_device choose_device(const std::string &name_or_number, device_use use);

/// Whether what a device hears has gone through an echo canceller, as far as a sound server tells.
/// @param name  as ALSA opens it; its default device counts as the server's
bool cancels_echo(const std::string &name);

/// The ALSA name in an option such as --input: "alsa" or "alsa:NAME". Nothing for another text.
std::optional<std::string> alsa_name_of(const std::string &choice);

} // namespace tonelink::tool
