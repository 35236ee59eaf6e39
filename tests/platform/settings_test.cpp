// The device address, the AV product and the sink: what the environment sets and the program
// overrules; and the address of the machine's adapter, from BlueZ, for which a stand-in runs on a
// bus of the test's own.

#include "child_process.h"
#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr const char *kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";

/// The machine's Bluetooth address, or the result code.
std::string device_address()
{
    char *text = nullptr;
    const int result = bt_adapter_get_address(&text);
    const std::string answer = text != nullptr ? text : std::to_string(result);
    std::free(text);
    return answer;
}

std::string av_product()
{
    bool value = false;
    const int result = system_info_get_custom_bool(kAvProductKey, &value);
    return std::to_string(result == 0 ? value : result);
}

int set_av_product(const char *value)
{
    return tonelink_host_set_av_product(value == nullptr ? -1 : std::atoi(value));
}

std::string prepared() { return std::to_string(audio_out_prepare(test_output{})); }

/// What can be set, and what is in force: a text, or the result code.
struct setting {
    std::string variable, words;
    int (*set)(const char *text);
    std::string (*get)();
};

void expect_setting(const setting &s, const char *one, const char *other, const std::string &got,
                    const std::vector<const char *> &unusable, const std::string &failure)
{
    setenv(s.variable.c_str(), one, 1);
    const auto got_of_one = s.get();
    EXPECT_EQ(s.set(other), 0);
    for (const char *text : unusable) EXPECT_EQ(s.set(text), kInvalidParameter) << text;
    EXPECT_EQ(got_of_one + ' ' + s.get(), got);
    EXPECT_EQ(s.set(nullptr), 0);
    EXPECT_EQ(s.get(), got_of_one);
    for (const char *text : unusable) {
        setenv(s.variable.c_str(), text, 1);
        EXPECT_EQ(s.get(), failure);
        EXPECT_EQ(last_error(), s.variable + " is \"" + text + "\"; it can be " + s.words);
    }
}

void expect_no_adapter(const std::string &why)
{
    EXPECT_EQ(device_address(), "-29359870");
    EXPECT_EQ(last_error(), "no Bluetooth adapter: " + why +
                                "; TONELINK_BT_ADDRESS=AA:BB:CC:DD:EE:FF can stand in");
}

} // namespace

TEST(Settings, ComeFromTheEnvironmentUnlessTheProgramSetsThem)
{
    expect_setting(
        {"TONELINK_BT_ADDRESS", "an address like AA:BB:CC:DD:EE:FF",
         tonelink_host_set_bluetooth_address, device_address},
        "00:1a:7D:da:71:0f", "AA:BB:CC:DD:EE:FF", "00:1A:7D:DA:71:0F AA:BB:CC:DD:EE:FF",
        {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF", "AA:BB:CC:DD:EE:FG"}, "-22");
    expect_setting({"TONELINK_AV_PRODUCT", "0 or 1", set_av_product, av_product}, "1", "0", "1 0",
                   {"2", "-2"}, "-22");
    expect_setting({"TONELINK_AUDIO", "wav:PATH, alsa, alsa:DEVICE or null",
                    tonelink_host_set_audio, prepared},
                   "null", "wav:/", "0 -26214399", {"wav", "wav:", "WAV:a", "alsa:", "null:a"},
                   "-26214399");
    setenv("TONELINK_AV_PRODUCT", "", 1);
    EXPECT_EQ(av_product(), "0");
    bool value = true;
    for (const int result :
         {system_info_get_custom_bool("com.orvane/featureconf/other", &value),
          system_info_get_custom_bool(nullptr, &value),
          system_info_get_custom_bool(kAvProductKey, nullptr), bt_adapter_get_address(nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
}

TEST(DeviceAddress, IsThatOfTheFirstAdapterThatBlueZKnows)
{
    const scratch_folder folder;
    const auto bus_address = "unix:path=" + folder.file("bus");
    const auto log = " >>" + folder.file("log") + " 2>&1";
    const auto call = [&](const std::string &what) {
        return std::system(("gdbus call --system --object-path / --dest " + what + log).c_str()) ==
               0;
    };
    unsetenv("TONELINK_BT_ADDRESS");
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus_address.c_str(), 1);
    expect_no_adapter("no system bus: No such file or directory");
    const child_process bus{
        "dbus-daemon --session --nofork --nopidfile --nosyslog --address=" + bus_address + log};
    EXPECT_TRUE(bus.wait_for([&] { return std::filesystem::exists(folder.file("bus")); }));
    expect_no_adapter("BlueZ does not run");
    const child_process bluez{"/usr/bin/python3 -m dbusmock --template bluez5 --system" + log};
    EXPECT_TRUE(bluez.wait_for([&] {
        return call("org.bluez --method org.freedesktop.DBus.Peer.Ping");
    })) << bytes_of(folder.file("log"))
        << "(packages dbus, libglib2.0-bin, python3-dbusmock)";
    expect_no_adapter("BlueZ knows of none");

    // The stand-in makes the address of hciN from its last digit.
    for (const auto &[added, expected] :
         {std::pair{"hci10", "00:01:02:03:04:05"}, std::pair{"hci2", "02:03:04:05:06:07"},
          std::pair{"hci3", "02:03:04:05:06:07"}, std::pair{"hci1", "01:02:03:04:05:06"}}) {
        ASSERT_TRUE(call("org.bluez --method org.bluez.Mock.AddAdapter " + std::string{added} +
                         " machine"));
        EXPECT_EQ(device_address(), expected) << "with " << added << ": " << last_error();
    }
}

} // namespace tonelink::test
