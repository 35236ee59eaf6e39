#include "modem/stream_receiver.h"

#include <algorithm>
#include <cassert>

#include "modem/band_shift.h"
#include "modem/channel_decoder.h"
#include "modem/filter_taps.h"
#include "modem/fixed_point.h"
#include "modem/spectrum_mirror.h"

namespace tonelink {

namespace {

constexpr std::size_t kDecimation = 10;
constexpr uint64_t kHopDistance = kDecimation * kHopSamples; // samples from hop to hop

/// The filter's output, Q15, from the 37 samples at `oldest` on; three more are read.
int32_t filter_down(const int16_t *oldest)
{
    // Zeros behind the taps make rows of eight. The filter is symmetric: it reads either way.
    static constexpr auto kTaps = [] {
        std::array<int16_t, 40> taps{};
        std::copy(b_flt_dns.begin(), b_flt_dns.end(), taps.begin());
        return taps;
    }();
    int32_t sum = 0; // |taps| sum to 46293: below 2^31
    for (std::size_t k = 0; k < kTaps.size(); ++k) sum += kTaps[k] * oldest[k];
    return sum;
}

/// Applies the gain and lets it follow: towards samples of 10000 in magnitude.
int16_t control_gain(int32_t filtered, int32_t &gain_q8)
{
    const int32_t gain = std::clamp<int32_t>(gain_q8, 1, 25600);
    const int32_t sample = std::clamp(((filtered >> 15) * gain) >> 8, -30000, 30000);
    const int32_t size = sample < 0 ? -sample : sample;
    gain_q8 = low16(gain + (((10000 - size) * 3) >> 7));
    return low16(sample);
}

/// The place of baseband sample n among the rows.
int16_t &sample_at(baseband_rows &rows, std::size_t n)
{
    cplx16 &pair = rows.pairs[n / 2 % rows.kRows][n / kHopSamples];
    return n % 2 == 0 ? pair.re : pair.im;
}
int16_t sample_at(const baseband_rows &rows, std::size_t n)
{
    const cplx16 &pair = rows.pairs[n / 2 % rows.kRows][n / kHopSamples];
    return n % 2 == 0 ? pair.re : pair.im;
}

/// What a lane's path says, in the form in which it is handed out.
template <std::size_t Bits>
heard_message read_message(const survivors<Bits> &surviving, std::size_t lane, uint64_t position)
{
    const auto received = de_getCrc24<Bits>(trace_back(surviving, lane));
    assert(passes_crc_check(received));
    heard_message heard{position, Bits, {}};
    std::ranges::copy(received.bits, heard.bits.begin());
    return heard;
}

} // namespace

stream_receiver::stream_receiver(const vector_stages &stages) : stages_{&stages} {}

void stream_receiver::receive(std::span<const int16_t> audio, BandShiftInfo &shifter,
                              message_lengths lengths, message_sink sink)
{
    std::array<int16_t, kBlock> shifted;
    while (!audio.empty()) {
        const auto part = audio.first(std::min(audio.size(), shifted.size()));
        std::ranges::copy(part, shifted.begin());
        const auto samples = std::span{shifted}.first(part.size());
        shift_band(samples, shifter, *stages_);
        mirror_spectrum(samples, (position_ + 1) % 2);
        receive_shifted(samples, lengths, sink);
        audio = audio.subspan(part.size());
    }
}

void stream_receiver::receive_shifted(std::span<const int16_t> samples, message_lengths lengths,
                                      message_sink sink)
{
    while (!samples.empty()) {
        const auto block = samples.first(std::min(samples.size(), kBlock));
        receive_block(block, lengths, sink);
        samples = samples.subspan(block.size());
    }
    if (hops_ > 0) finish_hops(lengths, sink);
}

/// Decimates a block. Batches that are full go on from here.
void stream_receiver::receive_block(std::span<const int16_t> block, message_lengths lengths,
                                    message_sink sink)
{
    std::ranges::copy(block, filter_input_.begin() + kFilterHistory);
    int32_t gain_q8 = gain_q8_;
    for (std::size_t i = (kDecimation - decim_phase_) % kDecimation; i < block.size();
         i += kDecimation) {
        const int16_t sample = control_gain(filter_down(&filter_input_[i]), gain_q8);
        sample_at(baseband_, fill_++) = sample;
        if (fill_ < kBodySamples + kHopSamples * hops_) continue;
        if (hops_++ == 0) first_hop_position_ = position_ + i;
        if (hops_ == kBatch) finish_hops(lengths, sink);
    }
    gain_q8_ = low16(gain_q8);
    decim_phase_ = (decim_phase_ + block.size()) % kDecimation;
    position_ += block.size();
    std::copy_n(&filter_input_[block.size()], kFilterHistory, filter_input_.begin());
}

/// From the samples of the hops that wait to the messages of the candidates that they complete.
void stream_receiver::finish_hops(message_lengths lengths, message_sink sink)
{
    make_room_for_columns();
    stages_->transform_hops(baseband_, hops_, spectra_, column_);
    stages_->demodulate(spectra_, column_ - (kFrameHistory - 1), hops_,
                        includes<32>(lengths) ? &short_sums_ : nullptr,
                        includes<48>(lengths) ? &long_sums_ : nullptr);
    unsigned accepted_short = 0;
    unsigned accepted_long = 0;
    if (includes<32>(lengths)) {
        stages_->select_short_survivors(short_sums_, hops_, short_survivors_);
        accepted_short = check_crcs(short_survivors_, hops_);
    }
    if (includes<48>(lengths)) {
        stages_->select_long_survivors(long_sums_, hops_, long_survivors_);
        accepted_long = check_crcs(long_survivors_, hops_);
    }
    for (std::size_t lane = 0; (accepted_short | accepted_long) >> lane != 0; ++lane) {
        const uint64_t position = first_hop_position_ + kHopDistance * lane;
        if ((accepted_short >> lane & 1) != 0) sink(read_message(short_survivors_, lane, position));
        if ((accepted_long >> lane & 1) != 0) sink(read_message(long_survivors_, lane, position));
    }
    column_ += hops_;
    new_frames_ = std::min(new_frames_ + hops_, kFrameHistory);
    drop_oldest_samples();
}

/// Brings the last 271 columns to the front where a batch would not fit behind them.
void stream_receiver::make_room_for_columns()
{
    if (column_ + kBatch <= spectrum_rows::kColumns) return;
    const std::size_t from = column_ - kFrameHistory;
    for (auto &row : spectra_.subcarriers) std::copy(row + from, row + column_, row);
    std::copy(spectra_.exponents + from, spectra_.exponents + column_, spectra_.exponents);
    column_ = kFrameHistory;
}

/// Leaves what the next hop's spectrum needs.
void stream_receiver::drop_oldest_samples()
{
    for (auto &row : baseband_.pairs) std::copy(row + hops_, std::end(row), row);
    fill_ -= kHopSamples * hops_;
    hops_ = 0;
}

void stream_receiver::take_up(const snfc_state &state)
{
    position_ = 0;
    // The record's delay line has the newest sample first, and twice.
    std::reverse_copy(state.dns_delay.data + 1, state.dns_delay.data + kDecimationTaps,
                      filter_input_.begin());
    decim_phase_ = static_cast<std::size_t>(state.decim_phase);
    gain_q8_ = state.agc_gain;

    fill_ = static_cast<std::size_t>(state.fft_fill);
    for (std::size_t n = 0; n < fill_; ++n) sample_at(baseband_, n) = state.fft_input.data[n];
    hops_ = 0;

    column_ = kFrameHistory;
    new_frames_ = 0;
    for (std::size_t f = 0; f < kFrameHistory; ++f) {
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            spectra_.subcarriers[k][f] = state.spectrum_history.data[kSubcarriers * f + k];
        // A caller may have left any there.
        spectra_.exponents[f] = std::clamp<int32_t>(state.exponent_history.data[f], 0, 6);
    }
}

void stream_receiver::hand_back(snfc_state &state) const
{
    if (position_ > 0) state.dns_delay.data[0] = filter_input_[kFilterHistory - 1];
    std::reverse_copy(filter_input_.begin(), filter_input_.begin() + kFilterHistory,
                      state.dns_delay.data + 1);
    state.decim_phase = static_cast<int32_t>(decim_phase_);
    state.agc_gain = gain_q8_;

    state.fft_fill = static_cast<int32_t>(fill_);
    for (std::size_t n = 0; n < fill_; ++n) state.fft_input.data[n] = sample_at(baseband_, n);
    // Behind them is what a hop's slide has left there.
    if (new_frames_ > 0)
        std::copy(state.fft_input.data + fill_ - kHopSamples,
                  state.fft_input.data + kBodySamples - kHopSamples, state.fft_input.data + fill_);

    const std::size_t from = column_ - kFrameHistory;
    for (std::size_t f = 0; f < kFrameHistory; ++f)
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            state.spectrum_history.data[kSubcarriers * f + k] = spectra_.subcarriers[k][from + f];

    // Exponents from before this receiver stay what they were, which may be what it did not use.
    const std::size_t old_frames = kFrameHistory - new_frames_;
    int16_t *const exponents = state.exponent_history.data;
    std::copy_n(exponents + new_frames_, old_frames, exponents);
    for (std::size_t f = old_frames; f < kFrameHistory; ++f)
        exponents[f] = static_cast<int16_t>(spectra_.exponents[from + f]);
}

} // namespace tonelink
