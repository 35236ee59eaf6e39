#include "check/probe_bursts.h"

#include <algorithm>
#include <cmath>

#include <tonelink/receiver.h>

#include "check/probe.h"
#include "decode/burst_receiver.h"

namespace tonelink::tool {

probe_bursts hear_probe_bursts(std::span<const float> recording, double rate)
{
    constexpr std::size_t kBlock = 4096; // what the receiver's queue is taken after
    constexpr double kNoSnr = -100;
    probe_bursts bursts;
    const auto whole_rate = static_cast<int>(std::lround(rate));
    if (whole_rate < TONELINK_RECEIVER_LOWEST_RATE || whole_rate > TONELINK_RECEIVER_HIGHEST_RATE)
        return bursts;
    burst_receiver receiver{whole_rate, {.lengths = TONELINK_LENGTH_32}};
    const auto take = [&] {
        while (const auto burst = receiver.take()) {
            if (message_of(*burst) != probe_message()) continue;
            ++bursts.heard;
            bursts.snr_db = std::max<double>(burst->snr_db, bursts.snr_db.value_or(kNoSnr));
        }
    };
    while (!recording.empty()) {
        const auto block = recording.first(std::min(kBlock, recording.size()));
        receiver.put(block);
        take();
        recording = recording.subspan(block.size());
    }
    receiver.finish();
    take();
    return bursts;
}

} // namespace tonelink::tool
