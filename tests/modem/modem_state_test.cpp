#include "modem/modem_state.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "support/failing_memory.h"
#include "support/modem_guard.h"

namespace tonelink {

using test::hash16;
using test::kKnownBursts;
using test::open_modem;

namespace {

template <class Vector> bool all_zero(const Vector &v)
{
    const auto *bytes = reinterpret_cast<const uint8_t *>(v.data);
    const auto size = static_cast<std::size_t>(v.length) * sizeof(*v.data);
    return std::all_of(bytes, bytes + size, [](uint8_t byte) { return byte == 0; });
}

/// Puts something into every field that a receiver at work would fill.
void make_used(snfc_state &state)
{
    state.rx_status = 1;
    state.fft_fill = 120;
    state.decim_phase = 7;
    state.repeat_count = 3;
    state.decode_count = 5;
    state.agc_gain = 999;
    std::fill_n(state.spectrum_history.data, state.spectrum_history.length, cplx16{1, 2});
    std::fill_n(state.exponent_history.data, state.exponent_history.length, int16_t{4});
    std::fill_n(state.dns_delay.data, state.dns_delay.length, int16_t{5});
    std::fill_n(state.fft_input.data, state.fft_input.length, int16_t{6});
    bvec_set_length(&state.msg_bits, 32);
    bvec_set_length(&state.msg_bytes, 4);
    bvec_set_length(&state.prev_msg_bytes, 4);
    vec32_set_length(&state.results, 8);
}

} // namespace

TEST(ModemState, OpensSilentAndClosesOnce)
{
    snfc_state *state = nullptr;
    ASSERT_EQ(open_snfc(&state), 1);
    const snfc_state *const opened = state;
    EXPECT_EQ(open_snfc(&state), -2);
    EXPECT_EQ(state, opened);

    EXPECT_EQ(state->spectral_inversion, 1);
    EXPECT_EQ(state->rx_status, -1);
    EXPECT_EQ(state->agc_gain, 256);
    for (const int32_t zero :
         {state->fft_fill, state->invert_phase, state->decim_phase, state->repeat_count,
          state->decode_count, state->last_message.length, state->burst_samples.length,
          state->msg_bytes.length, state->msg_bits.length, state->prev_msg_bytes.length,
          state->results.length})
        EXPECT_EQ(zero, 0);
    EXPECT_EQ(state->spectrum_history.length, 16531);
    EXPECT_EQ(state->exponent_history.length, 271);
    EXPECT_EQ(state->fft_input.length, 128);
    EXPECT_EQ(state->dns_delay.length, 37);
    EXPECT_TRUE(all_zero(state->spectrum_history) && all_zero(state->exponent_history) &&
                all_zero(state->dns_delay));
    EXPECT_EQ(sInfoTx.freq, -1845);
    EXPECT_EQ(sInfoRx.freq, 1845);

    EXPECT_EQ(close_snfc(&state), 1);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(close_snfc(&state), -2);
    EXPECT_FALSE(is_open(sInfoTx) || is_open(sInfoRx));
}

TEST(ModemState, ResetForgetsTheSearchAndKeepsTheRest)
{
    snfc_state *none = nullptr;
    uint8_t *bits = nullptr;
    int32_t length = 77;
    EXPECT_EQ(reset_snfc(&none), -2);
    EXPECT_EQ(check_snfc(&none, &bits, &length), -1);

    open_modem modem;
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == nullptr && length == 77);

    const auto burst = modem.burst(kKnownBursts[0].bits);
    make_used(**&modem);
    EXPECT_EQ(check_snfc(&modem, &bits, &length), 1);
    EXPECT_TRUE(bits == modem->msg_bits.data && length == 32);

    EXPECT_EQ(reset_snfc(&modem), 1);
    EXPECT_EQ(modem->rx_status, -1);
    EXPECT_TRUE(modem->fft_fill == 0 && modem->decim_phase == 0 && modem->repeat_count == 0);
    EXPECT_TRUE(modem->prev_msg_bytes.length == 0 && modem->msg_bytes.length == 0);
    EXPECT_TRUE(all_zero(modem->spectrum_history) && all_zero(modem->exponent_history) &&
                all_zero(modem->dns_delay));

    EXPECT_TRUE(modem->decode_count == 5 && modem->agc_gain == 999);
    EXPECT_TRUE(modem->results.length == 8 && modem->fft_input.data[127] == 6);
    EXPECT_EQ(modem.burst(kKnownBursts[0].bits), burst); // remembered
    bits = nullptr;
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == modem->msg_bits.data && length == 32);
}

TEST(ModemState, EachOpenStartsTheShiftersAfresh)
{
    for (int round = 0; round < 2; ++round) {
        open_modem modem;
        EXPECT_EQ(hash16(modem.burst(kKnownBursts[2].bits)), kKnownBursts[2].burst);
    }
}

TEST(ModemState, SecondStateSharesTheShifters)
{
    open_modem first;
    first.burst(kKnownBursts[1].bits);
    {
        open_modem second; // starts the shifters afresh
        EXPECT_EQ(hash16(second.burst(kKnownBursts[0].bits)), kKnownBursts[0].burst);
    }
    EXPECT_TRUE(is_open(sInfoTx) && is_open(sInfoRx)); // the first still needs them
    EXPECT_EQ(hash16(first.burst(kKnownBursts[3].bits)),
              "dc91f30cf3dd005f"); // runs on behind the second's
}

TEST(ModemState, OpenWithoutMemoryTakesNothing)
{
    open_modem other; // and takes nothing from a state that is open
    other.burst(kKnownBursts[0].bits);
    const BandShiftInfo before = sInfoTx;
    std::size_t n = 0;
    for (;; ++n) {
        snfc_state *state = nullptr;
        int32_t result;
        bool happened;
        {
            const test::failing_allocation failure{n};
            result = open_snfc(&state);
            happened = failure.happened();
        }
        if (!happened) {
            EXPECT_EQ(close_snfc(&state), 1);
            break;
        }
        EXPECT_EQ(result, -4) << n;
        EXPECT_EQ(state, nullptr) << n;
        EXPECT_TRUE(sInfoTx.history.data == before.history.data && sInfoTx.phase == before.phase)
            << n;
    }
    EXPECT_EQ(n, 9u); // the record, four buffers, two for each shifter
}

} // namespace tonelink
