// The receiver sample by sample and candidate by candidate: the definition that its fast form is
// held to.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "modem/burst_format.h"
#include "modem/heard_message.h"
#include "modem/modem_state.h"
#include "modem/plain/demodulator.h"
#include "tonelink/modem.h"

namespace tonelink::plain {

/// Does what tonelink::stream_receiver does, from the start of a stream.
class stream_receiver {
public:
    void hand_back(snfc_state &state) const;
    void receive(std::span<const int16_t> audio, BandShiftInfo &shifter, message_lengths lengths,
                 message_sink sink);
    void receive_shifted(std::span<const int16_t> samples, message_lengths lengths,
                         message_sink sink);
    uint64_t position() const { return position_; }

private:
    int32_t decimate(int16_t sample);
    int16_t control_gain(int32_t filtered);
    void store_spectrum();
    candidate oldest_symbols() const;
    void slide();

    uint64_t position_ = 0;
    std::array<int16_t, kDecimationTaps> delay_{}; // newest first
    int32_t phase_ = 0;
    int16_t gain_q8_ = 256;
    std::array<int16_t, kBodySamples> input_{};
    std::size_t fill_ = 0;
    // The last 271 frames end before frame `end_`; when there is no room left, they move to the
    // front.
    std::array<std::array<cplx16, kSubcarriers>, 2 * kFrameHistory> spectra_{};
    std::array<int16_t, 2 * kFrameHistory> exponents_{};
    std::size_t end_ = kFrameHistory;
};

} // namespace tonelink::plain
