// What the environment and the program choose: the AV product and the device address by hand.

#include <cstdlib>
#include <optional>
#include <string>

#include "test_output.h"

namespace tonelink::test {

namespace {

constexpr const char *kAvProductKey = "com.orvane/featureconf/tonelink.set_volume_av_type";
constexpr int kInvalidParameter = -22;

/// The switch, or nothing after a failure.
std::optional<bool> av_product()
{
    bool value = false;
    const int result = system_info_get_custom_bool(kAvProductKey, &value);
    EXPECT_TRUE(result == 0 || result == kInvalidParameter);
    return result == 0 ? std::optional{value} : std::nullopt;
}

std::string address_or_code()
{
    char *address = nullptr;
    const int result = bt_adapter_get_address(&address);
    EXPECT_EQ(result == 0, address != nullptr);
    const std::string text = result == 0 ? address : std::to_string(result);
    std::free(address);
    return text;
}

} // namespace

TEST(SystemInfo, KnowsWhetherItIsAnAvProduct)
{
    unsetenv("TONELINK_AV_PRODUCT");
    EXPECT_EQ(av_product(), false);
    struct expectation {
        const char *text;
        std::optional<bool> value;
    };
    for (const auto &[text, value] :
         {expectation{"1", true}, expectation{"0", false}, expectation{"", false},
          expectation{"yes", std::nullopt}, expectation{"01", std::nullopt}}) {
        setenv("TONELINK_AV_PRODUCT", text, 1);
        EXPECT_EQ(av_product(), value) << text;
    }
    EXPECT_EQ(last_error(), "TONELINK_AV_PRODUCT is \"01\"; it can be 0 or 1");

    EXPECT_EQ(tonelink_host_set_av_product(1), 0);
    EXPECT_EQ(av_product(), true);
    EXPECT_EQ(tonelink_host_set_av_product(2), kInvalidParameter);
    EXPECT_EQ(tonelink_host_set_av_product(-2), kInvalidParameter);
    EXPECT_EQ(av_product(), true);
    EXPECT_EQ(tonelink_host_set_av_product(0), 0);
    EXPECT_EQ(av_product(), false);
    EXPECT_EQ(tonelink_host_set_av_product(-1), 0);
    EXPECT_EQ(av_product(), std::nullopt);
}

TEST(SystemInfo, KnowsNoOtherKey)
{
    bool value = true;
    EXPECT_EQ(system_info_get_custom_bool("com.orvane/featureconf/other", &value),
              kInvalidParameter);
    EXPECT_EQ(system_info_get_custom_bool(nullptr, &value), kInvalidParameter);
    EXPECT_EQ(system_info_get_custom_bool(kAvProductKey, nullptr), kInvalidParameter);
    EXPECT_TRUE(value);
}

TEST(Bluetooth, TakesTheAddressThatIsGiven)
{
    setenv("TONELINK_BT_ADDRESS", "00:1a:7D:da:71:0f", 1);
    EXPECT_EQ(address_or_code(), "00:1A:7D:DA:71:0F");
    EXPECT_EQ(tonelink_host_set_bluetooth_address("AA:BB:CC:DD:EE:FF"), 0);
    EXPECT_EQ(address_or_code(), "AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(tonelink_host_set_bluetooth_address(nullptr), 0);
    EXPECT_EQ(address_or_code(), "00:1A:7D:DA:71:0F");

    for (const char *unusable : {"AA:BB:CC:DD:EE", "AA:BB:CC:DD:EE:FF:", "AA-BB-CC-DD-EE-FF",
                                 "AA:BB:CC:DD:EE:FG", "A:BB:CC:DD:EE:FFF", "hci0"}) {
        EXPECT_EQ(tonelink_host_set_bluetooth_address(unusable), kInvalidParameter) << unusable;
        setenv("TONELINK_BT_ADDRESS", unusable, 1);
        EXPECT_EQ(address_or_code(), "-22") << unusable;
    }
    EXPECT_EQ(last_error(),
              "TONELINK_BT_ADDRESS is \"hci0\"; it can be an address like AA:BB:CC:DD:EE:FF");
    EXPECT_EQ(bt_adapter_get_address(nullptr), kInvalidParameter);
}

} // namespace tonelink::test
