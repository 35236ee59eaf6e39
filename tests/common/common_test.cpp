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
    EXPECT_EQ(platform.trace(), log_of("common.cpp", "Generate_Random_PIN",
                                       {"int pin_num = " + text, "char random_pin = " + text}));
}

TEST_F(PairingIdentity, HandsOutTheAddressOrNamesTheError)
{
    char *const address = Get_TV_BD_Addr();
    EXPECT_STREQ(address, "11:22:33:44:AB:CD");
    std::free(address);
    platform.address.clear(); // success, but no text: error 0
    for (const uint32_t code :
         {0xC0000001u, 0xFE400100u, 0xFE400101u, 0xFE400102u, 0xFE400103u, 0xFE400104u, 0xFE400105u,
          0xFE400106u, 0xFE400107u, 0xFE400108u, 0xFE400109u, 0xFE40010Au, 0xFE40010Bu, 0xFE40010Cu,
          0xFFFFFF83u, 0xFFFFFF8Du, 0xFFFFFFEAu, 0xFFFFFFF0u, 0xFFFFFFF4u, 0xFFFFFFFFu, 0u}) {
        platform.fail("bt_adapter_get_address", static_cast<int32_t>(code));
        EXPECT_EQ(Get_TV_BD_Addr(), nullptr);
    }
    set_app_mode(-7);
    EXPECT_EQ(get_app_mode(), -7);
    EXPECT_EQ(platform.said("common.cpp"), documented_trace("pairing_identity"));
}

} // namespace tonelink::test
