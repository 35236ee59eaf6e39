#include "send/message_options.h"

#include <cassert>

#include "arguments.h"
#include "errors.h"

namespace tonelink::tool {
namespace {

/// The bytes of --data or --text; nothing without either.
std::optional<std::vector<uint8_t>> data_of(const CLI::App &command, const message_options &options)
{
    if (command.count("--data") > 0) return parse_data(options.data);
    if (command.count("--text") == 0) return std::nullopt;
    if (options.text.empty()) throw wrong_usage{"--text is empty; 1 to 6 bytes are right"};
    return std::vector<uint8_t>(options.text.begin(), options.text.end());
}

void refuse_two_messages(const CLI::App &command)
{
    if (command.count("--data") > 0 && command.count("--text") > 0)
        throw wrong_usage{"--data and --text are both the message; either is right, not both"};
    const char *data = command.count("--data") > 0 ? "--data" : "--text";
    if (command.count(data) > 0 && command.count("--pin") + command.count("--address") > 0)
        throw wrong_usage{std::string{data} +
                          " is sent instead of --pin and --address; either is right, not both"};
}

} // namespace

void add_message_options(CLI::App &command, message_options &options)
{
    const auto option = [&command](const char *name, std::string &value, const char *type,
                                   const char *meaning) {
        command.add_option(name, value, meaning)->type_name(type);
    };
    option("--pin", options.pin, "N", "PIN to pair with: 0 to 65535, with --bits 48 to 4294967295");
    option("--address", options.address, "AA:BB:CC:DD:EE:FF",
           "Bluetooth address to pair with; its last two octets are sent");
    option("--data", options.data, "HEX", "Send these bytes instead: 1 to 6, in hexadecimal");
    option("--text", options.text, "TEXT", "Send this text instead: 1 to 6 bytes");
    option("--bits", options.bits, "32|48", "Message length; 32 unless the data needs 48");
}

message_choice choose_message(const CLI::App &command, const message_options &options)
{
    refuse_two_messages(command);
    message_choice choice;
    choice.data = data_of(command, options);
    if (command.count("--bits") > 0)
        choice.length = parse_bits(options.bits);
    else if (choice.data && choice.data->size() > data_capacity(message_length::short_32))
        choice.length = message_length::long_48;
    if (choice.data && choice.data->size() > data_capacity(choice.length))
        throw wrong_usage{(command.count("--data") > 0 ? "--data has " : "--text has ") +
                          std::to_string(choice.data->size()) +
                          " bytes; up to 4 are right for 32 bits, up to 6 for 48"};
    if (command.count("--pin") > 0) choice.pin = parse_pin(options.pin, choice.length);
    if (command.count("--address") > 0) choice.address = parse_address(options.address);
    return choice;
}

message_bits message_of(const message_choice &choice)
{
    if (choice.data) return data_message(*choice.data, choice.length);
    assert(choice.pin && choice.address);
    return pairing_message(*choice.pin, *choice.address, choice.length);
}

} // namespace tonelink::tool
