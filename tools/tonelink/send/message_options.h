// The options that say what is sent, which `encode` and `send` have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "message.h"

namespace tonelink::tool {

/// The options as they were typed; empty where one was not given.
struct message_options {
    std::string pin;
    std::string address;
    std::string data;
    std::string text;
    std::string bits;
};

/// What they say. Either `data`, or `pin` and `address` as far as they were given.
struct message_choice {
    message_length length = message_length::short_32;
    std::optional<std::vector<uint8_t>> data;
    std::optional<uint32_t> pin;
    std::optional<bluetooth_address> address;
};

/// Adds --pin, --address, --data, --text and --bits.
void add_message_options(CLI::App &command, message_options &options);

/// Throws wrong_usage for what cannot be sent, and for options that exclude each other.
message_choice choose_message(const CLI::App &command, const message_options &options);

/// The message of a choice that has `data`, or both `pin` and `address`.
message_bits message_of(const message_choice &choice);

} // namespace tonelink::tool
