// The address of the machine's adapter, from BlueZ, for which a stand-in runs on a bus of the
// test's own.

#include <cstdlib>

#include "test_output.h"

namespace tonelink::test {

namespace {

class Bluetooth : public testing::Test {
protected:
    void SetUp() override
    {
        unsetenv("TONELINK_BT_ADDRESS");
        setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_address.c_str(), 1);
    }
    void TearDown() override { run("kill $(cat " + folder.file("ids") + ")"); }

    bool run(const std::string &line) const
    {
        return std::system(("{ " + line + "; } >>" + folder.file("log") + " 2>&1").c_str()) == 0;
    }

    bool call(const std::string &what) const
    {
        return run("gdbus call --system --object-path / --dest " + what);
    }

    /// Runs a program, for an hour at most, and waits until it answers to its name on the bus.
    void start(const std::string &program, const std::string &name) const
    {
        ASSERT_TRUE(run("timeout 3600 " + program + " & echo $! >>" + folder.file("ids") +
                        "; until gdbus call --system --object-path / --dest " + name +
                        " --method org.freedesktop.DBus.Peer.Ping; "
                        "do kill -0 $! || exit; sleep 0.02; done"))
            << bytes_of(folder.file("log")) << "(packages dbus, libglib2.0-bin, python3-dbusmock)";
    }

    static void expect_no_adapter(const std::string &why)
    {
        char *none = nullptr;
        EXPECT_EQ(bt_adapter_get_address(&none), -29359870);
        EXPECT_EQ(none, nullptr);
        EXPECT_EQ(last_error(), "no Bluetooth adapter: " + why +
                                    "; TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");
    }

    const scratch_folder folder;
    const std::string bus_address = "unix:path=" + folder.file("bus");
};

} // namespace

TEST_F(Bluetooth, AddressIsThatOfTheFirstAdapterThatBlueZKnows)
{
    expect_no_adapter("no system bus: No such file or directory");
    start("dbus-daemon --session --nofork --nopidfile --nosyslog --address=" + bus_address,
          "org.freedesktop.DBus");
    expect_no_adapter("BlueZ does not run");
    start("/usr/bin/python3 -m dbusmock --template bluez5 --system", "org.bluez");
    expect_no_adapter("BlueZ knows of none");

    // The stand-in makes the address of hciN from its last digit.
    for (const auto &[added, expected] :
         {std::pair{"hci10", "00:01:02:03:04:05"}, std::pair{"hci2", "02:03:04:05:06:07"},
          std::pair{"hci3", "02:03:04:05:06:07"}, std::pair{"hci1", "01:02:03:04:05:06"}}) {
        ASSERT_TRUE(
            call(std::string{"org.bluez --method org.bluez.Mock.AddAdapter "} + added + " machine"))
            << bytes_of(folder.file("log"));
        EXPECT_EQ(device_address(), expected) << "with " << added << ": " << last_error();
    }
}

} // namespace tonelink::test
