#include "modem/reference/burst_generator.h"

#include <algorithm>

#include "modem/channel_encoder.h"
#include "modem/fixed_point.h"
#include "modem/reference/band_shift.h"
#include "modem/reference/interpolator.h"
#include "modem/reference/modulator.h"

namespace tonelink::reference {

void mirror_spectrum(burst_span burst)
{
    for (std::size_t i = 1; i < burst.size(); i += 2) burst[i] = low16(-burst[i]);
}

void normalise_peak(burst_span burst)
{
    int32_t peak = 0;
    for (const int16_t sample : burst) peak = std::max(peak, magnitude(sample));
    if (peak == 0) return;
    const int32_t gain_q14 = (1 << 29) / peak;
    for (int16_t &sample : burst) sample = low16(std::min((sample * gain_q14) >> 14, 32767));
}

void make_burst(std::span<const uint8_t> message, bool invert, BandShiftInfo &shifter,
                burst_span burst)
{
    frame_samples frame = modulate_symbols(encode_channel(message));
    ramp_edges(frame);
    interpolate_by_10(frame, burst);
    if (invert) mirror_spectrum(burst);
    shift_band(burst, shifter);
    normalise_peak(burst);
}

} // namespace tonelink::reference
