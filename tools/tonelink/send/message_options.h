// The options that say what is sent, which `encode` and `send` have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "message.h"

namespace tonelink::tool {

/// What they say: either `data`, or `pin` and `address` as far as they were given.
struct message_choice {
    std::optional<message_length> length;
    std::optional<std::vector<uint8_t>> data;
    std::optional<uint32_t> pin;
    std::optional<bluetooth_address> address;
};

/// Adds --pin, --address, --data, --text and --bits.
void add_message_options(CLI::App &command, message_choice &choice);

/// The length of a choice's message. Throws wrong_usage for what does not fit or is one too many.
message_length length_of(const message_choice &choice);

/// The message of a choice that has `data`, or both `pin` and `address`, and a fitting length.
message_bits message_of(const message_choice &choice);

} // namespace tonelink::tool
