// The device address, the AV product and the sink: what the environment sets and the program
// overrules; and the address of the machine's adapter, from BlueZ, for which a stand-in runs on a
// bus of the test's own.

#include "companion_program.h"
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

/// Sets a variable to `one` and has the program set `other` in its place; `get` tells what is in
/// force, or the result code, which is `failure` where the text in force cannot be used.
void expect_setting(const std::string &variable, int (*set)(const char *text), std::string (*get)(),
                    const char *one, const char *other, const std::string &both_got,
                    const std::vector<const char *> &unusable, const std::string &usable,
                    const std::string &failure)
{
    setenv(variable.c_str(), one, 1);
    const auto got = get();
    EXPECT_EQ(set(other), 0);
    for (const char *text : unusable) EXPECT_EQ(set(text), kInvalidParameter) << text;
    EXPECT_EQ(got + ' ' + get(), both_got);
    EXPECT_EQ(set(nullptr), 0);
    EXPECT_EQ(get(), got);
    for (const char *text : unusable) {
        setenv(variable.c_str(), text, 1);
        EXPECT_EQ(get(), failure);
        EXPECT_EQ(last_error(), variable + " is \"" + text + "\"; it can be " + usable);
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
    bool value = true;
    for (const int result :
         {system_info_get_custom_bool("com.orvane/featureconf/other", &value),
          system_info_get_custom_bool(nullptr, &value),
          system_info_get_custom_bool(kAvProductKey, nullptr), bt_adapter_get_address(nullptr)})
        EXPECT_EQ(result, kInvalidParameter);
    expect_setting(
        "TONELINK_BT_ADDRESS", tonelink_host_set_bluetooth_address, device_address,
        "00:1a:7D:da:71:0f", "AA:BB:CC:DD:EE:FF", "00:1A:7D:DA:71:0F AA:BB:CC:DD:EE:FF",
        {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF", "AA:BB:CC:DD:EE:FG"},
        "an address like AA:BB:CC:DD:EE:FF", "-22");
    const auto set_av_product = [](const char *text) {
        return tonelink_host_set_av_product(text != nullptr ? std::atoi(text) : -1);
    };
    expect_setting("TONELINK_AV_PRODUCT", set_av_product, av_product, "1", "0", "1 0", {"2", "-2"},
                   "0 or 1", "-22");
    const auto prepared = [] { return std::to_string(audio_out_prepare(test_output{})); };
    expect_setting("TONELINK_AUDIO", tonelink_host_set_audio, prepared, "null", "wav:/",
                   "0 -26214399", {"wav", "wav:", "WAV:a", "alsa:", "null:a"},
                   "wav:PATH, alsa, alsa:DEVICE or null", "-26214399");
}

TEST(DeviceAddress, IsThatOfTheFirstAdapterThatBlueZKnows)
{
    ASSERT_EQ(std::system("which dbus-daemon gdbus python3"), 0);
    const scratch_folder folder;
    const auto bus = "unix:path=" + folder.file("bus");
    const auto call = [](const std::string &name, const std::string &method) {
        const auto line = "gdbus call --system --object-path / --dest " + name + " --method ";
        return std::system((line + method).c_str()) == 0;
    };
    setenv("TONELINK_BT_ADDRESS", "", 1); // as if it were not there
    setenv("DBUS_SYSTEM_BUS_ADDRESS", bus.c_str(), 1);
    expect_no_adapter("no system bus: No such file or directory");
    const auto daemon = run_beside("dbus-daemon --session --nofork --nopidfile --address=" + bus);
    wait_until([&] { return call("org.freedesktop.DBus", "org.freedesktop.DBus.Peer.Ping"); });
    expect_no_adapter("BlueZ does not run");
    const auto bluez = run_beside("/usr/bin/python3 -m dbusmock --template bluez5 --system");
    wait_until([&] { return call("org.bluez", "org.freedesktop.DBus.Peer.Ping"); });
    expect_no_adapter("BlueZ knows of none");

    // The stand-in makes the address of hciN from its last digit.
    for (const auto &[added, expected] :
         {std::pair{"hci10", "00:01:02:03:04:05"}, std::pair{"hci2", "02:03:04:05:06:07"},
          std::pair{"hci3", "02:03:04:05:06:07"}, std::pair{"hci1", "01:02:03:04:05:06"}}) {
        ASSERT_TRUE(call("org.bluez", "org.bluez.Mock.AddAdapter " + std::string{added} + " it"));
        EXPECT_EQ(device_address(), expected) << "with " << added << ": " << last_error();
    }
}

} // namespace tonelink::test
