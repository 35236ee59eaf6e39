// The entry points of managed callers: they forward to the service's stream-callback family, with
// any unknown packet type taken for type 1. There is no receiving service behind the receive side.
#include "tonelink/payload.h"
#include "tonelink/service.h"

#include "common/log.h"

namespace {

int32_t known_packet_type(int32_t packet_type) { return packet_type == 2 ? 2 : 1; }

} // namespace

int32_t start_audio_transmitting_async_type_managed(int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    TONELINK_LOG("Starting Audio Transmission from managed API");
    const int32_t result = start_audio_transmitting_async_type(known_packet_type(packet_type));
    TONELINK_LOG("Start Transmission returned %d ", result);
    return result;
}

int32_t start_audiodata_transmission_managed(const uint8_t *data, int32_t length,
                                             int32_t packet_type)
{
    TONELINK_LOG("ENTER\n");
    const int32_t type = known_packet_type(packet_type);
    const int32_t result = start_audiodata_transmission(data, length, type);
    TONELINK_LOG("Start Transmission Packet Type %d Return val %d  ", type, result);
    TONELINK_LOG("EXIT\n");
    return result;
}

int32_t stop_audio_transmitting_async_managed(void)
{
    TONELINK_LOG("ENTER\n");
    const int32_t result = stop_audio_transmitting_async();
    TONELINK_LOG("EXIT\n");
    return result;
}

void set_pin_in_ultrasound_managed(int32_t pin, const char *address)
{
    TONELINK_LOG("ENTER\n");
    set_pin_in_ultrasound(pin, address);
    TONELINK_LOG("EXIT\n");
}

int32_t set_tx_samplerate_managed(int32_t rate)
{
    TONELINK_LOG("ENTER\n");
    return set_tx_sample_rate(rate);
}

int32_t start_audiodata_receiving_managed(void)
{
    TONELINK_LOG("ENTER\n");
    TONELINK_LOG("EXIT\n");
    return 0;
}

int32_t stop_audiodata_receiving_managed(void)
{
    TONELINK_LOG("ENTER\n");
    return 0;
}

void set_audio_receivingcb_managed(void)
{
    TONELINK_LOG("ENTER\n");
    TONELINK_LOG("EXIT\n");
}

int32_t tonelink_rx_is_running_managed(void)
{
    TONELINK_LOG("ENTER\n");
    return 0;
}

int32_t audio_rx_from_buffer_managed(void)
{
    TONELINK_LOG("ENTER\n");
    return 1;
}
