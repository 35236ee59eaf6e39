#include "modem/modem_state.h"

#include <gtest/gtest.h>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "support/failing_memory.h"
#include "support/modem_guard.h"
#include "support/receiving.h"

namespace tonelink::test {

TEST(ModemState, OpensSilent)
{
    open_modem modem;
    EXPECT_TRUE(modem->spectral_inversion == 1 && modem->rx_status == -1);
    for (const int32_t zero :
         {modem->invert_phase, modem->repeat_count, modem->decode_count, modem->last_message.length,
          modem->burst_samples.length, modem->msg_bytes.length, modem->msg_bits.length,
          modem->prev_msg_bytes.length, modem->results.length})
        EXPECT_EQ(zero, 0);
    EXPECT_EQ(stream_of(**&modem), silent_stream(256));
}

TEST(ModemState, SaysWhatItCannotDo)
{
    snfc_state *none = nullptr;
    uint8_t *bits = nullptr;
    int32_t length = 0;
    EXPECT_EQ(close_snfc(&none), -2);
    EXPECT_EQ(reset_snfc(&none), -2);
    EXPECT_EQ(check_snfc(&none, &bits, &length), -1);
    open_modem modem;
    snfc_state *const opened = *&modem;
    EXPECT_EQ(open_snfc(&modem), -2); // and the state that is there stays
    EXPECT_EQ(*&modem, opened);
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1); // has heard nothing
    EXPECT_EQ(bits, nullptr);
}

TEST(ModemState, StatesShareTheShiftersUntilTheLastOneCloses)
{
    const auto close_one_by_hand = [] { // which counts for nothing
        auto *by_hand = static_cast<snfc_state *>(ac_allocate_memory(sizeof(snfc_state)));
        ac_zero_memory(by_hand, offsetof(snfc_state, agc_gain) + 2); // and what lies there stays
        by_hand->results = {};
        EXPECT_EQ(close_snfc(&by_hand), 1);
    };
    close_one_by_hand();
    {
        open_modem first;
        first.burst(kPair48.bits);
        // Another one starts the shifters afresh.
        EXPECT_EQ(hash16(open_modem{}.burst(kPair32.bits)), kPair32.burst);
        close_one_by_hand();
        EXPECT_TRUE(is_open(sInfoTx) && is_open(sInfoRx)); // the first still needs them
        EXPECT_EQ(hash16(first.burst(kData48.bits)), "dc91f30cf3dd005f"); // runs on
    }
    EXPECT_FALSE(is_open(sInfoTx) || is_open(sInfoRx));
}

TEST(ModemState, OpenWithoutMemoryTakesNothing)
{
    open_modem other; // and takes nothing from a state that is open
    other.burst(kPair32.bits);
    const auto phase_and_place = [] { return std::pair{sInfoTx.phase, sInfoTx.history.data}; };
    const auto before = phase_and_place();
    for (std::size_t n = 0; n < 9; ++n) { // the record, four buffers, two for each shifter
        snfc_state *state = nullptr;
        const failing_allocation failure{n};
        EXPECT_EQ(open_snfc(&state), -4) << n;
        EXPECT_EQ(state, nullptr) << n;
        EXPECT_EQ(phase_and_place(), before) << n;
    }
}

} // namespace tonelink::test
