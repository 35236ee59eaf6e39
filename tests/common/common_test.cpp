#include <cstdlib>
#include <ctime>

#include "support/library_fixture.h"

namespace tonelink::test {

namespace {

using PairingIdentity = library_test;

} // namespace

TEST_F(PairingIdentity, HasAPinBeforeTheFirstDraw)
{
    EXPECT_EQ(get_audio_pin(), 5821);
    EXPECT_EQ(get_app_mode(), 0);
}

TEST_F(PairingIdentity, DrawsThePinOfTheSecond)
{
    unsigned int second = 0;
    do {
        second = static_cast<unsigned int>(std::time(nullptr));
        platform.forget();
        Generate_Random_PIN();
    } while (second != static_cast<unsigned int>(std::time(nullptr)));
    const int32_t pin = rand_r(&second) % 9000 + 1000;
    EXPECT_EQ(Get_Random_PIN(), pin);
    EXPECT_EQ(get_audio_pin(), pin);
    const auto text = std::to_string(pin);
    set_app_mode(-7);
    EXPECT_EQ(get_app_mode(), -7);
    EXPECT_EQ(platform.trace(), "[common.cpp]\n"
                                "Generate_Random_PIN: int pin_num = " +
                                    text +
                                    "\n"
                                    "Generate_Random_PIN: char random_pin = " +
                                    text +
                                    "\n"
                                    "set_app_mode: \\n application_mode = -7 \\n\\n\n");
}

TEST_F(PairingIdentity, HandsOutTheAddressOrNamesTheError)
{
    char *const address = Get_TV_BD_Addr();
    EXPECT_STREQ(address, "11:22:33:44:AB:CD");
    std::free(address);
    EXPECT_EQ(platform.count("\n bt_adapter_get_address_=11:22:33:44:AB:CD \n\n"), 1);
    platform.address.clear(); // success, but no text: error 0
    const std::pair<uint32_t, std::string> cases[] = {{0xC0000001, "TIMED_OUT"},
                                                      {0xFE400100, "NONE"},
                                                      {0xFE400101, "NOT_INITIALIZED"},
                                                      {0xFE400104, "OPERATION_FAILED"},
                                                      {0xFE40010B, "REMOTE_DEVICE_NOT_CONNECTED"},
                                                      {0xFE40010C, "NONE"},
                                                      {0xFFFFFF83, "CANCELLED"},
                                                      {0xFFFFFF8D, "NOW_IN_PROGRESS"},
                                                      {0xFFFFFFEA, "INVALID_PARAMETER"},
                                                      {0xFFFFFFF4, "OUT_OF_MEMORY"},
                                                      {0xFFFFFFFF, "NONE"},
                                                      {0, "NONE"}};
    for (const auto &[code, name] : cases) {
        platform.forget();
        platform.fail("bt_adapter_get_address", static_cast<int32_t>(code));
        EXPECT_EQ(Get_TV_BD_Addr(), nullptr);
        EXPECT_EQ(platform.trace(), "bt_adapter_get_address()\n[common.cpp]\nGet_TV_BD_Addr: "
                                    "Error:: bt_adapter_get_address failed " +
                                        name + " \\n\\n\n");
    }
}

} // namespace tonelink::test
