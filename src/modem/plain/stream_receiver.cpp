#include "modem/plain/stream_receiver.h"

#include <algorithm>

#include "modem/channel_decoder.h"
#include "modem/filter_taps.h"
#include "modem/fixed_fft.h"
#include "modem/fixed_point.h"
#include "modem/plain/band_shift.h"
#include "modem/vector_stages.h"

namespace tonelink::plain {

namespace {

constexpr int32_t kDecimation = 10;
static_assert(kSymbolHops * (kSymbols - 1) + 1 == kFrameHistory);

template <std::size_t Bits>
void try_candidate(const soft_channel &soft, uint64_t position, message_sink sink)
{
    const auto received = de_getCrc24<Bits>(viterbi_decoder<Bits>(recover_rate<Bits>(soft)));
    if (!is_accepted(received)) return;
    heard_message heard{position, Bits, {}};
    std::ranges::copy(received.bits, heard.bits.begin());
    sink(heard);
}

} // namespace

void stream_receiver::hand_back(snfc_state &state) const
{
    std::ranges::copy(delay_, state.dns_delay.data);
    state.decim_phase = phase_;
    state.agc_gain = gain_q8_;
    std::ranges::copy(input_, state.fft_input.data);
    state.fft_fill = static_cast<int32_t>(fill_);
    for (std::size_t f = 0; f < kFrameHistory; ++f) {
        const std::size_t from = end_ - kFrameHistory + f;
        std::ranges::copy(spectra_[from], &state.spectrum_history.data[kSubcarriers * f]);
        state.exponent_history.data[f] = exponents_[from];
    }
}

void stream_receiver::receive(std::span<const int16_t> audio, BandShiftInfo &shifter,
                              message_lengths lengths, message_sink sink)
{
    for (const int16_t sample : audio) {
        int16_t shifted = sample;
        shift_band(&shifted, 1, shifter);
        if (position_ % 2 == 1) shifted = low16(-shifted);
        receive_shifted({&shifted, 1}, lengths, sink);
    }
}

void stream_receiver::receive_shifted(std::span<const int16_t> samples, message_lengths lengths,
                                      message_sink sink)
{
    for (const int16_t sample : samples) {
        const uint64_t position = position_++;
        const bool produces = phase_ == 0;
        const int32_t filtered = decimate(sample);
        if (!produces) continue;
        input_[fill_++] = control_gain(filtered);
        if (fill_ < kBodySamples) continue;
        store_spectrum();
        const soft_channel soft = demodulate(oldest_symbols());
        if (includes<32>(lengths)) try_candidate<32>(soft, position, sink);
        if (includes<48>(lengths)) try_candidate<48>(soft, position, sink);
        slide();
    }
}

/// Takes a sample into the delay line; returns the filter's output where one is due, every tenth.
int32_t stream_receiver::decimate(int16_t sample)
{
    delay_[0] = sample;
    int32_t sum = 0; // |taps| sum to 46293: below 2^31
    if (phase_ == 0)
        for (std::size_t k = 0; k < delay_.size(); ++k) sum += b_flt_dns[k] * delay_[k];
    std::copy_backward(delay_.begin(), delay_.end() - 1, delay_.end());
    phase_ = (phase_ + 1) % kDecimation;
    return sum;
}

/// Applies the gain and lets it follow: towards samples of 10000 in magnitude.
int16_t stream_receiver::control_gain(int32_t filtered)
{
    const int32_t gain = std::clamp<int32_t>(gain_q8_, 1, 25600);
    const int32_t sample = std::clamp(((filtered >> 15) * gain) >> 8, -30000, 30000);
    gain_q8_ = low16(gain + (((10000 - magnitude(low16(sample))) * 3) >> 7));
    return low16(sample);
}

void stream_receiver::store_spectrum()
{
    if (end_ == spectra_.size()) {
        std::copy(spectra_.end() - kFrameHistory + 1, spectra_.end(), spectra_.begin());
        std::copy(exponents_.end() - kFrameHistory + 1, exponents_.end(), exponents_.begin());
        end_ = kFrameHistory - 1;
    }
    symbol_spectrum bins;
    exponents_[end_] = low16(forward_symbol_transform(input_, bins));
    std::copy_n(bins.begin() + kFirstSubcarrier, kSubcarriers, spectra_[end_].begin());
    ++end_;
}

/// The candidate that the last frame completes.
candidate stream_receiver::oldest_symbols() const
{
    candidate burst;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const std::size_t frame = end_ - kFrameHistory + kSymbolHops * s;
        std::ranges::copy(spectra_[frame], burst.bins.begin() + kSubcarriers * s);
        burst.exponents[s] = exponents_[frame];
    }
    return burst;
}

/// Drops the samples that the next spectrum does without.
void stream_receiver::slide()
{
    std::copy(input_.begin() + kHopSamples, input_.end(), input_.begin());
    fill_ = kBodySamples - kHopSamples;
}

} // namespace tonelink::plain
