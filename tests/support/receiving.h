// What a receiver hears in a sound that comes in blocks, and the stream that it leaves behind.
#pragma once

#include <algorithm>
#include <span>

#include "modem/burst_format.h"
#include "modem/heard_message.h"
#include "support/modem_guard.h"
#include "tonelink/modem.h"

namespace tonelink::test {

/// Calls `use` with one block after the other, of the sizes in turn.
template <class Use>
void in_blocks(std::span<const int16_t> sound, const std::vector<std::size_t> &sizes, Use use)
{
    for (std::size_t i = 0; !sound.empty(); ++i) {
        const std::size_t size = std::min(sizes[i % sizes.size()], sound.size());
        use(sound.first(size));
        sound = sound.subspan(size);
    }
}

/// The documented fields of the stream that a state keeps, one after the other.
inline std::vector<int32_t> stream_of(const snfc_state &state)
{
    std::vector<int32_t> stream = {state.fft_fill, state.decim_phase, state.agc_gain};
    const auto add = [&](const int16_t *values, int32_t count) {
        stream.insert(stream.end(), values, values + count);
    };
    add(state.dns_delay.data, state.dns_delay.length);
    add(state.fft_input.data, state.fft_input.length);
    add(&state.spectrum_history.data->re, 2 * state.spectrum_history.length);
    add(state.exponent_history.data, state.exponent_history.length);
    return stream;
}

/// That of a state that has heard nothing: zeros, but for the gain.
inline std::vector<int32_t> silent_stream(int32_t gain)
{
    std::vector<int32_t> stream(3 + 37 + 128 + 2 * 16531 + 271, 0);
    stream[2] = gain;
    return stream;
}

/// What is heard, and the stream that is left behind.
using reception = std::pair<std::vector<heard_message>, std::vector<int32_t>>;

/// Lets a receiver hear a whole sound.
template <class Receiver>
reception hear(Receiver &receiver, std::span<const int16_t> sound,
               const std::vector<std::size_t> &sizes, message_lengths lengths)
{
    std::vector<heard_message> all;
    open_modem modem;
    open_shifter shifter{kBandShiftHz};
    in_blocks(sound, sizes, [&](std::span<const int16_t> block) {
        receiver.receive(block, shifter, lengths,
                         [&](const heard_message &heard) { all.push_back(heard); });
    });
    receiver.hand_back(**&modem);
    return {all, stream_of(**&modem)};
}

} // namespace tonelink::test
