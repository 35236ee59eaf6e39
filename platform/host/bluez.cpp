// Asks BlueZ on the system bus for its objects and finds the first adapter among them. BlueZ is not
// started for it: where there is an adapter, it runs.

#include "bluez.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>

#include <systemd/sd-bus.h>

#include "result.h"

namespace tonelink::host {

namespace {

constexpr std::uint64_t kReplyTimeoutMicroseconds = 10'000'000;

struct bus_closer {
    void operator()(sd_bus *bus) const { sd_bus_flush_close_unref(bus); }
};
struct message_closer {
    void operator()(sd_bus_message *message) const { sd_bus_message_unref(message); }
};
using bus_ptr = std::unique_ptr<sd_bus, bus_closer>;
using message_ptr = std::unique_ptr<sd_bus_message, message_closer>;

failure no_adapter(const std::string &why)
{
    return {kBluetoothNotEnabled, "no Bluetooth adapter: " + why +
                                      "; TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in"};
}

int check(int result)
{
    if (result == -ENOMEM) throw std::bad_alloc{};
    if (result < 0)
        throw failure{kBluetoothFailed,
                      std::string{"cannot read the Bluetooth adapters: "} + std::strerror(-result)};
    return result;
}

bus_ptr open_system_bus()
{
    sd_bus *bus = nullptr;
    const int result = sd_bus_open_system(&bus);
    if (result < 0) throw no_adapter(std::string{"no system bus: "} + std::strerror(-result));
    return bus_ptr{bus};
}

message_ptr get_managed_objects(sd_bus *bus)
{
    sd_bus_message *made = nullptr;
    check(sd_bus_message_new_method_call(
        bus, &made, "org.bluez", "/", "org.freedesktop.DBus.ObjectManager", "GetManagedObjects"));
    const message_ptr call{made};
    check(sd_bus_message_set_auto_start(made, 0));

    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message *reply = nullptr;
    const int result = sd_bus_call(bus, made, kReplyTimeoutMicroseconds, &error, &reply);
    const bool is_absent = sd_bus_error_has_name(&error, SD_BUS_ERROR_SERVICE_UNKNOWN) != 0 ||
                           sd_bus_error_has_name(&error, SD_BUS_ERROR_NAME_HAS_NO_OWNER) != 0;
    sd_bus_error_free(&error);
    if (is_absent) throw no_adapter("BlueZ does not run");
    check(result);
    return message_ptr{reply};
}

/// Enters each entry of the dictionary that comes next, whose key and value have the type
/// `contents`.
template <class Entry>
void for_each_entry(sd_bus_message *message, const std::string &contents, Entry entry)
{
    check(
        sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, ('{' + contents + '}').c_str()));
    while (check(sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY,
                                                contents.c_str())) > 0) {
        entry();
        check(sd_bus_message_exit_container(message));
    }
    check(sd_bus_message_exit_container(message));
}

std::string read_text(sd_bus_message *message, char type)
{
    const char *text = nullptr;
    check(sd_bus_message_read_basic(message, type, &text));
    return text;
}

/// The address among an adapter's properties, or nothing.
std::optional<std::string> read_address(sd_bus_message *message)
{
    std::optional<std::string> address;
    for_each_entry(message, "sv", [&] {
        if (read_text(message, SD_BUS_TYPE_STRING) != "Address") {
            check(sd_bus_message_skip(message, "v"));
            return;
        }
        check(sd_bus_message_enter_container(message, SD_BUS_TYPE_VARIANT, "s"));
        address = read_text(message, SD_BUS_TYPE_STRING);
        check(sd_bus_message_exit_container(message));
    });
    return address;
}

/// Whether an object path counts before another: hci2 before hci10.
bool comes_before(const std::string &a, const std::string &b)
{
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

} // namespace

bool is_device_address(const std::string &text)
{
    if (text.size() != 17) return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (i % 3 == 2 ? c != ':' : std::isxdigit(c) == 0) return false;
    }
    return true;
}

std::string first_adapter_address()
{
    const auto bus = open_system_bus();
    const auto reply = get_managed_objects(bus.get());
    sd_bus_message *const message = reply.get();

    std::string first_path;
    std::string address;
    for_each_entry(message, "oa{sa{sv}}", [&] {
        const auto path = read_text(message, SD_BUS_TYPE_OBJECT_PATH);
        for_each_entry(message, "sa{sv}", [&] {
            if (read_text(message, SD_BUS_TYPE_STRING) != "org.bluez.Adapter1") {
                check(sd_bus_message_skip(message, "a{sv}"));
                return;
            }
            const auto found = read_address(message);
            if (found && (first_path.empty() || comes_before(path, first_path))) {
                first_path = path;
                address = *found;
            }
        });
    });
    if (first_path.empty()) throw no_adapter("BlueZ knows of none");
    if (!is_device_address(address))
        throw failure{kBluetoothFailed,
                      "the adapter " + first_path + " has the address \"" + address + "\""};
    return address;
}

} // namespace tonelink::host
