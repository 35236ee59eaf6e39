#include "transmission/pairing_bursts.h"

#include <chrono>
#include <thread>

#include "support/signals.h"
#include "tonelink/payload.h"
#include "tonelink/service.h"

namespace tonelink::test {

std::span<const family> families()
{
    static constexpr family kFamilies[] = {
        {"writer thread", start_audio_transmitting_type, stop_audio_transmitting},
        {"stream callback", start_audio_transmitting_async_type, stop_audio_transmitting_async},
    };
    return kFamilies;
}

void prepare_pairing()
{
    ASSERT_EQ(sound_manager_set_volume(1, 9), 0);
    ASSERT_EQ(sound_manager_set_master_volume(5), 0);
    ASSERT_EQ(set_pin_Custom_in_ultrasound("4711\x3C\xA5", 2, 2, 6, 1), 0);
}

const std::string kFirstBurst = "b27af8e51b359866";
const std::string kSecondBurst = "54aa138f946fa3ef";

std::string hash_of_burst(std::span<const int16_t> samples)
{
    return hash16(samples.first(kBurst));
}

void transmit(const family &f, std::size_t writes)
{
    const auto before = tonelink_host_get_samples_played();
    ASSERT_EQ(f.start(2), 1) << f.name << ": " << last_error();
    wait_for_samples(before + (writes - 1) * kWrite + 1);
    ASSERT_EQ(f.stop(), 1) << f.name;
}

void wait_for_samples(uint64_t count)
{
    while (tonelink_host_get_samples_played() < count)
        std::this_thread::sleep_for(std::chrono::milliseconds{5});
}

} // namespace tonelink::test
