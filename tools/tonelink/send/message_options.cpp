#include "send/message_options.h"

#include <cassert>
#include <functional>
#include <string>
#include <utility>

#include "arguments.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

void set_data(message_choice &choice, std::vector<uint8_t> data)
{
    if (choice.data)
        throw wrong_usage{"--data and --text are both the message; either is right, not both"};
    if (data.empty()) throw wrong_usage{"--text is empty; 1 to 6 bytes are right"};
    choice.data = std::move(data);
}

} // namespace

void add_message_options(CLI::App &command, message_choice &choice)
{
    const auto text_option = [&command](const char *name, const char *type, const char *meaning,
                                        const std::function<void(const std::string &)> &take) {
        command.add_option_function(name, take, meaning)->type_name(type);
    };
    command
        .add_option("--pin", choice.pin,
                    "PIN to pair with: 0 to 65535, with --bits 48 to 4294967295")
        ->type_name("NUMBER")
        ->transform(number_from<uint64_t>(0, max_pin(message_length::long_48)));
    text_option(
        "--address", "ADDRESS",
        "Bluetooth address to pair with, as in AA:BB:CC:DD:EE:FF; its last two octets are sent",
        [&choice](const auto &text) { choice.address = parse_address(text); });
    text_option("--data", "HEX", "Send these bytes instead: 1 to 6, in hexadecimal",
                [&choice](const auto &text) { set_data(choice, parse_data(text)); });
    text_option("--text", "TEXT", "Send this text instead: 1 to 6 bytes",
                [&choice](const auto &text) {
                    set_data(choice, {text.begin(), text.end()});
                });
    CLI::Option *bits =
        command.add_option("--bits", choice.length, "Message length; 32 unless the data needs 48");
    take_one_of<message_length>(
        *bits, {{"32", message_length::short_32}, {"48", message_length::long_48}});
}

message_length length_of(const message_choice &choice)
{
    if (choice.data && (choice.pin || choice.address))
        throw wrong_usage{"--data and --text are sent instead of --pin and --address; either is "
                          "right, not both"};
    const std::size_t bytes = choice.data ? choice.data->size() : 0;
    const bool needs_long = bytes > data_capacity(message_length::short_32);
    const message_length length =
        choice.length.value_or(needs_long ? message_length::long_48 : message_length::short_32);
    if (bytes > data_capacity(length))
        throw wrong_usage{"the data has " + std::to_string(bytes) +
                          " bytes; up to 4 are right for 32 bits, up to 6 for 48"};
    if (choice.pin > max_pin(length))
        throw wrong_usage{
            "--pin " + std::to_string(*choice.pin) +
            " does not fit a message of 32 bits; 0 to 65535 is right, with --bits 48 up "
            "to 4294967295"};
    return length;
}

message_bits message_of(const message_choice &choice)
{
    const message_length length = length_of(choice);
    if (choice.data) return data_message(*choice.data, length);
    assert(choice.pin && choice.address);
    return pairing_message(*choice.pin, *choice.address, length);
}

} // namespace tonelink::tool
