// The receiver of a stream of audio, without pauses and without a modem state: what receiver_snfc()
// and the command's decoding stand on.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "modem/heard_message.h"
#include "modem/modem_state.h"
#include "modem/vector_stages.h"
#include "tonelink/modem.h"

namespace tonelink {

/// Finds messages in a stream of samples at 44100 Hz, which may come in blocks of any size: the
/// result does not depend on where it is cut. A receiver takes some 145 KB, needs nothing else, and
/// may be copied. It starts as a modem state that has just been opened.
///
///     BandShiftInfo shifter;
///     openBandShift(&shifter, kBandShiftHz);
///     auto receiver = std::make_unique<stream_receiver>();
///     while (read(block))
///         receiver->receive(block, shifter, message_lengths::both,
///                           [&](const heard_message &heard) { print(heard); });
class stream_receiver {
public:
    explicit stream_receiver(const vector_stages &stages = fastest_stages());

    /// Receives the next samples. `shifter` is this stream's own, opened for kBandShiftHz.
    void receive(std::span<const int16_t> audio, BandShiftInfo &shifter, message_lengths lengths,
                 message_sink sink);

    /// The same for samples that have been shifted and mirrored already.
    void receive_shifted(std::span<const int16_t> samples, message_lengths lengths,
                         message_sink sink);

    /// How many samples it has received.
    uint64_t position() const { return position_; }

    /// Goes on with the stream that a modem state has kept; the next sample has position 0.
    void take_up(const snfc_state &state);

    /// Leaves the stream to the modem state that it was taken up from, or to one that has just been
    /// opened, in the order that its fields document.
    void hand_back(snfc_state &state) const;

private:
    static constexpr std::size_t kFilterHistory = kDecimationTaps - 1;
    static constexpr std::size_t kBlock = 1024;

    void receive_block(std::span<const int16_t> block, message_lengths lengths, message_sink sink);
    void finish_hops(message_lengths lengths, message_sink sink);
    void make_room_for_columns();
    void drop_oldest_samples();

    const vector_stages *stages_;
    uint64_t position_ = 0;

    // Decimation and gain: the last samples, then a block, and what a filter's last row reads
    // behind it.
    std::size_t decim_phase_ = 0;
    std::array<int16_t, kFilterHistory + kBlock + 4> filter_input_{};
    int16_t gain_q8_ = 256;

    // Baseband samples: those of the next hop's spectrum, and the hops that wait for theirs.
    std::size_t fill_ = 0;            // samples held
    std::size_t hops_ = 0;            // whose last sample has come
    uint64_t first_hop_position_ = 0; // of the first of them
    baseband_rows baseband_{};

    // Spectra, those of the last 271 hops in the columns before `column_`.
    std::size_t column_ = kFrameHistory;
    std::size_t new_frames_ = 0; // of these, since the stream was taken up
    spectrum_rows spectra_{};

    // What a batch goes through; nothing is kept here.
    code_sums<32> short_sums_;
    code_sums<48> long_sums_;
    survivors<32> short_survivors_;
    survivors<48> long_survivors_;
};

} // namespace tonelink
