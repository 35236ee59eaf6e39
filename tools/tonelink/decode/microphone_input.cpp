#include "decode/microphone_input.h"

#include <cmath>
#include <utility>

#include "modem/burst_format.h"

namespace tonelink::tool {

microphone_input::microphone_input(const std::string &device)
    : microphone_{device}, converter_{microphone_.rate(), kAudioRate}
{
}

std::span<const int16_t> microphone_input::read(int milliseconds)
{
    const auto samples = microphone_.read(milliseconds);
    const int64_t lost = microphone_.take_lost();
    if (lost == 0) return converter_.convert(samples);
    // There are no samples then; those that the converter holds back came before the gap.
    lost_ += std::llround(static_cast<double>(lost) * kAudioRate / microphone_.rate());
    return converter_.finish();
}

int64_t microphone_input::take_lost() { return std::exchange(lost_, 0); }

} // namespace tonelink::tool
