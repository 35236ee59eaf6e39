#include <span>

#include "support/library_fixture.h"
#include "tonelink/service.h"

namespace tonelink::test {

namespace {

class ManagedEntryPoints : public library_test {
protected:
    /// Length in bits of the running transmission's message; ends it.
    static int32_t bits_of_running()
    {
        const int32_t bits = tx_handler->modem->last_message.length;
        platform.run_callback();
        EXPECT_EQ(stop_audio_transmitting_async_managed(), 1);
        return bits;
    }
};

} // namespace

TEST_F(ManagedEntryPoints, TakeUnknownPacketTypesForTheFirst)
{
    const uint8_t data[] = {1, 2, 3, 4, 5, 6};
    for (const int32_t type : {0, 1, 2, 7, -1}) {
        platform.forget();
        ASSERT_EQ(start_audio_transmitting_async_type_managed(type), 1);
        EXPECT_EQ(bits_of_running(), type == 2 ? 48 : 32);
    }
    ASSERT_EQ(start_audiodata_transmission_managed(data, 6, 5), 1);
    EXPECT_EQ(pin_array[37], 0); // a fifth byte, which packet type 1 does not hold
    EXPECT_EQ(bits_of_running(), 32);
}

TEST_F(ManagedEntryPoints, PrepareTheNextTransmission)
{
    set_pin_in_ultrasound_managed(5000, "0:0:0:0:AB:CD");
    EXPECT_EQ(set_tx_samplerate_managed(22050), 1);
    ASSERT_EQ(start_audio_transmitting_async_type_managed(2), 1);
    EXPECT_TRUE(std::ranges::equal(tx_handler->message, std::span{pin_array}.first(48)));
    EXPECT_EQ(set_tx_samplerate_managed(44100), 0);
    bits_of_running();
    EXPECT_EQ(set_tx_sample_rate(48000), 1);
    ASSERT_EQ(start_audio_transmitting(), 1);
    stop_audio_transmitting();
    EXPECT_EQ(platform.count("audio_out_create_new(22050, 128, 113)"), 1);
    EXPECT_EQ(platform.count("audio_out_create_new(48000, 128, 113)"), 1);
    EXPECT_EQ(platform.said("set_tx_sample_rate"),
              log_of("SoundMgr.cpp", "set_tx_sample_rate",
                     {"Setting sample rate to [22050]", "Transmission has already started",
                      "Setting sample rate to [48000]"}));
}

TEST_F(ManagedEntryPoints, LogTheirCalls)
{
    const uint8_t data[] = {1, 2, 3, 4};
    set_pin_in_ultrasound_managed(5000, "0:0:0:0:AB:CD");
    set_tx_samplerate_managed(44100);
    start_audio_transmitting_async_type_managed(2);
    start_audiodata_transmission_managed(data, 4, 5);
    bits_of_running();
    // There is no receiving service.
    EXPECT_EQ(start_audiodata_receiving_managed(), 0);
    EXPECT_EQ(stop_audiodata_receiving_managed(), 0);
    set_audio_receivingcb_managed();
    EXPECT_EQ(tonelink_rx_is_running_managed(), 0);
    EXPECT_EQ(audio_rx_from_buffer_managed(), 1);
    EXPECT_EQ(platform.said("SoundMgrManaged.cpp"), documented_trace("managed"));
}

} // namespace tonelink::test
