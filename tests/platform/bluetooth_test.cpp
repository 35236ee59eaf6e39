// The adapter's address from BlueZ: a stand-in for it on a bus of the test's own.

#include <cstdlib>
#include <optional>

#include "child_process.h"
#include "scratch_folder.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kNotEnabled = -29359870;

class BluetoothAdapter : public testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("TONELINK_BT_ADDRESS");
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    }

    void start_bus()
    {
        const auto configuration = folder.write(
            "bus.conf",
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\""
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig><type>system</type><listen>" +
                address +
                "</listen>"
                "<auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
                "<allow eavesdrop=\"true\"/><allow own=\"*\"/></policy></busconfig>\n");
        const auto log = folder.file("bus.log");
        bus.emplace(std::vector<std::string>{"dbus-daemon", "--config-file=" + configuration,
                                             "--nofork", "--nopidfile", "--nosyslog"},
                    environment{}, log);
        ASSERT_TRUE(wait_for(*bus,
                             [&] {
                                 return ask("org.freedesktop.DBus", "/org/freedesktop/DBus",
                                            "org.freedesktop.DBus.GetId", {});
                             }))
            << "no bus (packages dbus, libglib2.0-bin): " << bytes_of(log)
            << bytes_of(folder.file("gdbus.log"));
    }

    void start_bluez()
    {
        const auto log = folder.file("bluez.log");
        bluez.emplace(std::vector<std::string>{"/usr/bin/python3", "-m", "dbusmock", "--template",
                                               "bluez5", "--system"},
                      environment{}, log);
        ASSERT_TRUE(wait_for(
            *bluez,
            [&] { return ask("org.bluez", "/org/bluez", "org.freedesktop.DBus.Peer.Ping", {}); }))
            << "no stand-in for BlueZ (package python3-dbusmock): " << bytes_of(log)
            << bytes_of(folder.file("gdbus.log"));
    }

    void add_adapter(const std::string &name)
    {
        ASSERT_TRUE(ask("org.bluez", "/", "org.bluez.Mock.AddAdapter", {name, "a machine"}))
            << bytes_of(folder.file("gdbus.log"));
    }

    bool ask(const std::string &name, const std::string &path, const std::string &method,
             const std::vector<std::string> &arguments) const
    {
        std::vector<std::string> command = {"gdbus",         "call", "--system", "--dest", name,
                                            "--object-path", path,   "--method", method};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return run(command, {}, folder.file("gdbus.log"));
    }

    const scratch_folder folder;
    const std::string address = "unix:path=" + folder.file("bus");
    std::optional<child_process> bus;
    std::optional<child_process> bluez;
};

} // namespace

TEST_F(BluetoothAdapter, IsTheFirstThatBlueZKnows)
{
    ASSERT_NO_FATAL_FAILURE(start_bus());
    ASSERT_NO_FATAL_FAILURE(start_bluez());
    char *text = nullptr;
    EXPECT_EQ(bt_adapter_get_address(&text), kNotEnabled);
    EXPECT_EQ(last_error(), "no Bluetooth adapter: BlueZ knows of none; "
                            "TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");

    // The stand-in makes the address of hciN from its last digit.
    struct expectation {
        const char *added, *address;
    };
    for (const auto &[added, expected] :
         {expectation{"hci10", "00:01:02:03:04:05"}, expectation{"hci2", "02:03:04:05:06:07"},
          expectation{"hci3", "02:03:04:05:06:07"}, expectation{"hci1", "01:02:03:04:05:06"}}) {
        ASSERT_NO_FATAL_FAILURE(add_adapter(added));
        ASSERT_EQ(bt_adapter_get_address(&text), 0) << last_error();
        EXPECT_STREQ(text, expected) << "with " << added;
        std::free(text);
        text = nullptr;
    }
}

TEST_F(BluetoothAdapter, NeedsBlueZAndABus)
{
    char *text = nullptr;
    EXPECT_EQ(bt_adapter_get_address(&text), kNotEnabled);
    EXPECT_EQ(last_error(), "no Bluetooth adapter: no system bus: No such file or directory; "
                            "TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");
    ASSERT_NO_FATAL_FAILURE(start_bus());
    EXPECT_EQ(bt_adapter_get_address(&text), kNotEnabled);
    EXPECT_EQ(last_error(), "no Bluetooth adapter: BlueZ does not run; "
                            "TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");
    EXPECT_EQ(text, nullptr);
}

} // namespace tonelink::test
