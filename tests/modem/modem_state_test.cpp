#include "modem/modem_state.h"

#include <gtest/gtest.h>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "support/failing_memory.h"
#include "support/modem_guard.h"
#include "support/receiving.h"

namespace tonelink {

using test::hash16;
using test::kKnownBursts;
using test::open_modem;
using test::stream_of;

TEST(ModemState, OpensSilentAndClosesOnce)
{
    snfc_state *state = nullptr;
    ASSERT_EQ(open_snfc(&state), 1);
    const snfc_state *const opened = state;
    EXPECT_EQ(open_snfc(&state), -2);
    EXPECT_EQ(state, opened);

    EXPECT_TRUE(state->spectral_inversion == 1 && state->rx_status == -1);
    for (const int32_t zero :
         {state->invert_phase, state->repeat_count, state->decode_count, state->last_message.length,
          state->burst_samples.length, state->msg_bytes.length, state->msg_bits.length,
          state->prev_msg_bytes.length, state->results.length})
        EXPECT_EQ(zero, 0);
    EXPECT_EQ(stream_of(*state), test::silent_stream(256));
    EXPECT_TRUE(sInfoTx.freq == -1845 && sInfoRx.freq == 1845);

    EXPECT_EQ(close_snfc(&state), 1);
    EXPECT_EQ(state, nullptr);
    EXPECT_EQ(close_snfc(&state), -2);
    EXPECT_FALSE(is_open(sInfoTx) || is_open(sInfoRx));
}

TEST(ModemState, StatesShareTheShiftersUntilTheLastOneCloses)
{
    const auto close_one_by_hand = [] {
        auto *by_hand = static_cast<snfc_state *>(ac_allocate_memory(sizeof(snfc_state)));
        *by_hand = {};
        EXPECT_EQ(close_snfc(&by_hand), 1);
    };
    close_one_by_hand(); // counts for nothing, now and below
    {
        open_modem first;
        first.burst(kKnownBursts[1].bits);
        {
            open_modem second; // starts the shifters afresh
            EXPECT_EQ(hash16(second.burst(kKnownBursts[0].bits)), kKnownBursts[0].burst);
        }
        close_one_by_hand();
        EXPECT_TRUE(is_open(sInfoTx) && is_open(sInfoRx)); // the first still needs them
        EXPECT_EQ(hash16(first.burst(kKnownBursts[3].bits)), "dc91f30cf3dd005f"); // runs on
    }
    EXPECT_FALSE(is_open(sInfoTx) || is_open(sInfoRx));
}

TEST(ModemState, OpenWithoutMemoryTakesNothing)
{
    open_modem other; // and takes nothing from a state that is open
    other.burst(kKnownBursts[0].bits);
    const BandShiftInfo before = sInfoTx;
    for (std::size_t n = 0; n < 10; ++n) { // the record, four buffers, two for each shifter
        snfc_state *state = nullptr;
        const test::failing_allocation failure{n};
        EXPECT_EQ(open_snfc(&state), n < 9 ? -4 : 1) << n;
        EXPECT_EQ(failure.happened(), n < 9) << n;
        EXPECT_EQ(state == nullptr, n < 9) << n;
        const bool is_same = sInfoTx.history.data == before.history.data;
        EXPECT_TRUE(n == 9 || (is_same && sInfoTx.phase == before.phase)) << n;
        close_snfc(&state);
    }
}

} // namespace tonelink
