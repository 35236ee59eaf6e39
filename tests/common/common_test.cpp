#include <cstdlib>
#include <ctime>

#include "support/library_fixture.h"

namespace tonelink {

using test::platform;

namespace {

class PairingIdentity : public test::library_test {};

} // namespace

TEST_F(PairingIdentity, DrawsThePinOfTheSecond)
{
    const auto before = std::time(nullptr);
    Generate_Random_PIN();
    const auto after = std::time(nullptr);
    const int32_t pin = Get_Random_PIN();
    bool is_of_a_second = false;
    for (auto second = before; second <= after; ++second) {
        auto seed = static_cast<unsigned int>(second);
        is_of_a_second |= pin == rand_r(&seed) % 9000 + 1000;
    }
    EXPECT_TRUE(is_of_a_second) << pin;
    EXPECT_EQ(get_audio_pin(), pin);
    const auto text = std::to_string(pin);
    set_app_mode(-7);
    EXPECT_EQ(get_app_mode(), -7);
    EXPECT_EQ(platform.said("set_app_mode"), "common.cpp|\n application_mode = -7 \n\n");
    EXPECT_EQ(platform.said("Generate_Random_PIN"),
              "common.cpp|int pin_num = " + text + "|char random_pin = " + text);
}

TEST_F(PairingIdentity, HandsOutTheAddress)
{
    char *const address = Get_TV_BD_Addr();
    EXPECT_STREQ(address, "11:22:33:44:AB:CD");
    std::free(address);
    platform.fail("bt_adapter_get_address", -29359870);
    EXPECT_EQ(Get_TV_BD_Addr(), nullptr);
    platform.address.clear(); // success, but no text
    EXPECT_EQ(Get_TV_BD_Addr(), nullptr);
    EXPECT_EQ(platform.said("Get_TV_BD_Addr"),
              "common.cpp|\n bt_adapter_get_address_=11:22:33:44:AB:CD \n\n"
              "|Error:: bt_adapter_get_address failed NOT_ENABLED \n\n"
              "|Error:: bt_adapter_get_address failed NONE \n\n");
}

TEST_F(PairingIdentity, NamesBluetoothErrors)
{
    const struct {
        uint32_t code;
        const char *name;
    } cases[] = {{0xC0000001, "TIMED_OUT"},
                 {0xFE400101, "NOT_INITIALIZED"},
                 {0xFE400104, "OPERATION_FAILED"},
                 {0xFE40010B, "REMOTE_DEVICE_NOT_CONNECTED"},
                 {0xFFFFFF83, "CANCELLED"},
                 {0xFFFFFF8D, "NOW_IN_PROGRESS"},
                 {0xFFFFFFEA, "INVALID_PARAMETER"},
                 {0xFFFFFFF4, "OUT_OF_MEMORY"},
                 {0, "NONE"},
                 {0xFFFFFFFF, "NONE"},
                 {0xFE400100, "NONE"},
                 {0xFE40010C, "NONE"}};
    for (const auto &c : cases)
        EXPECT_STREQ(convert_bt_error_to_string(static_cast<int32_t>(c.code)), c.name);
}

} // namespace tonelink
