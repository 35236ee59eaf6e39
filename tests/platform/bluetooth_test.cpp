// The device address: given by hand, or the adapter's from BlueZ, for which a stand-in runs on a
// bus of the test's own.

#include <cstdlib>
#include <optional>

#include "child_process.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr int kInvalidParameter = -22;
constexpr int kNotEnabled = -29359870;

class Bluetooth : public testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("TONELINK_BT_ADDRESS");
        setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_address.c_str(), 1);
    }

    /// Runs a program until it answers to its name on the bus.
    void start(std::optional<child_process> &program, const std::string &command,
               const std::string &name) const
    {
        program.emplace(command + log);
        ASSERT_TRUE(program->wait_for([&] {
            return ask("--dest " + name + " --method org.freedesktop.DBus.Peer.Ping");
        })) << bytes_of(folder.file("log"))
            << "(packages dbus, libglib2.0-bin, python3-dbusmock)";
    }

    bool ask(const std::string &what) const
    {
        const auto line = "gdbus call --system --object-path / " + what + log;
        return std::system(line.c_str()) == 0;
    }

    /// The address, or the result code.
    static std::string address()
    {
        char *text = nullptr;
        const int result = bt_adapter_get_address(&text);
        EXPECT_EQ(result == 0, text != nullptr);
        const std::string answer = result == 0 ? text : std::to_string(result);
        std::free(text);
        return answer;
    }

    static void expect_no_adapter(const std::string &why)
    {
        EXPECT_EQ(address(), std::to_string(kNotEnabled));
        EXPECT_EQ(last_error(), "no Bluetooth adapter: " + why +
                                    "; TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");
    }

    const scratch_folder folder;
    const std::string bus_address = "unix:path=" + folder.file("bus");
    const std::string log = " >>" + folder.file("log") + " 2>&1";
};

} // namespace

TEST_F(Bluetooth, AddressIsThatOfTheFirstAdapterThatBlueZKnows)
{
    expect_no_adapter("no system bus: No such file or directory");
    std::optional<child_process> bus;
    ASSERT_NO_FATAL_FAILURE(
        start(bus, "dbus-daemon --session --nofork --nopidfile --nosyslog --address=" + bus_address,
              "org.freedesktop.DBus"));
    expect_no_adapter("BlueZ does not run");
    std::optional<child_process> bluez;
    ASSERT_NO_FATAL_FAILURE(
        start(bluez, "/usr/bin/python3 -m dbusmock --template bluez5 --system", "org.bluez"));
    expect_no_adapter("BlueZ knows of none");

    // The stand-in makes the address of hciN from its last digit.
    for (const auto &[added, expected] :
         {std::pair{"hci10", "00:01:02:03:04:05"}, std::pair{"hci2", "02:03:04:05:06:07"},
          std::pair{"hci3", "02:03:04:05:06:07"}, std::pair{"hci1", "01:02:03:04:05:06"}}) {
        const auto name = std::string{added};
        ASSERT_TRUE(ask("--dest org.bluez --method org.bluez.Mock.AddAdapter " + name + " machine"))
            << bytes_of(folder.file("log"));
        EXPECT_EQ(address(), expected) << "with " << added << ": " << last_error();
    }
}

TEST_F(Bluetooth, AddressCanBeGiven)
{
    setenv("TONELINK_BT_ADDRESS", "00:1a:7D:da:71:0f", 1);
    EXPECT_EQ(address(), "00:1A:7D:DA:71:0F");
    EXPECT_EQ(tonelink_host_set_bluetooth_address("AA:BB:CC:DD:EE:FF"), 0);
    EXPECT_EQ(address(), "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(tonelink_host_set_bluetooth_address(nullptr), 0);
    EXPECT_EQ(address(), "00:1A:7D:DA:71:0F");

    for (const char *unusable : {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF",
                                 "AA:BB:CC:DD:EE:FG", "A:BB:CC:DD:EE:FFF", "hci0"}) {
        EXPECT_EQ(tonelink_host_set_bluetooth_address(unusable), kInvalidParameter) << unusable;
        setenv("TONELINK_BT_ADDRESS", unusable, 1);
        EXPECT_EQ(address(), std::to_string(kInvalidParameter)) << unusable;
    }
    EXPECT_EQ(last_error(),
              "TONELINK_BT_ADDRESS is \"hci0\"; it can be an address like AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(bt_adapter_get_address(nullptr), kInvalidParameter);
}

} // namespace tonelink::test
