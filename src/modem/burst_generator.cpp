#include "modem/burst_generator.h"

#include <algorithm>
#include <array>

#include "modem/band_shift.h"
#include "modem/channel_encoder.h"
#include "modem/fixed_point.h"
#include "modem/interpolator.h"
#include "modem/modem_state.h"
#include "modem/modulator.h"
#include "modem/spectrum_mirror.h"

namespace tonelink {

int32_t peak_magnitude(std::span<const int16_t, kBurstSamples> burst)
{
    int16_t highest = 0;
    int16_t lowest = 0;
    for (const int16_t sample : burst) {
        highest = std::max(highest, sample);
        lowest = std::min(lowest, sample);
    }
    return std::max(magnitude(highest), magnitude(lowest));
}

void normalise_peak(burst_span burst, const vector_stages &stages)
{
    const int32_t peak = peak_magnitude(burst);
    if (peak == 0) return;
    const int32_t gain_q14 = (1 << 29) / peak; // times the peak at most 2^29
    const std::size_t done = stages.scale_samples(burst.data(), burst.size(), gain_q14);
    for (int16_t &sample : burst.subspan(done)) {
        // A positive peak of a power of two would become 32768.
        sample = low16(std::min((sample * gain_q14) >> 14, 32767));
    }
}

void make_burst(std::span<const uint8_t> message, bool invert, BandShiftInfo &shifter,
                burst_span burst, const vector_stages &stages)
{
    const channel_bits channel = encode_channel(message);    // CRC to interleaver: 488 bits
    frame_samples frame = modulate_symbols(channel, stages); // 16 symbols and 13 zeros at 4410 Hz
    ramp_edges(frame);
    interpolate_by_10(frame, burst, stages); // to 44100 Hz
    if (invert) mirror_spectrum(burst, 1);
    shift_band(burst, shifter, stages); // 1841 Hz down
    normalise_peak(burst, stages);
}

namespace {

bool holds_burst_of(const snfc_state &state, std::span<const uint8_t> message)
{
    const std::span<const uint8_t> last{state.last_message.data,
                                        static_cast<std::size_t>(state.last_message.length)};
    return std::ranges::equal(last, message);
}

/// Sizes the state's message memory and burst; a failure leaves both empty.
bool make_room(snfc_state &state, std::size_t message_bits)
{
    bvec_set_length(&state.last_message, static_cast<int32_t>(message_bits));
    vec16_set_length(&state.burst_samples, static_cast<int32_t>(kBurstSamples));
    if (state.last_message.length != 0 && state.burst_samples.length != 0) return true;
    bvec_free(&state.last_message);
    vec16_free(&state.burst_samples);
    return false;
}

} // namespace

} // namespace tonelink

int32_t get_burst_snfc(snfc_state **state, const uint8_t *bits, int32_t nbits, int16_t **burst_out,
                       int32_t **length_out)
{
    using namespace tonelink;
    if (*state == nullptr) return modem_result::no_state;
    if (nbits != 32 && nbits != 48) return modem_result::bad_length;

    snfc_state &modem = **state;
    // A copy: a caller may hand over the message that the state itself remembers.
    std::array<uint8_t, 48> copy;
    const std::span message{copy.data(), static_cast<std::size_t>(nbits)};
    std::copy_n(bits, nbits, copy.begin());
    if (!holds_burst_of(modem, message)) {
        if (!make_room(modem, message.size())) return modem_result::no_memory;
        std::ranges::copy(message, modem.last_message.data);
        const shifters_lock lock;
        make_burst(message, modem.spectral_inversion != 0, sInfoTx,
                   burst_span{modem.burst_samples.data, kBurstSamples});
    }
    *burst_out = modem.burst_samples.data;
    *length_out = &modem.burst_samples.length;
    return modem_result::success;
}
