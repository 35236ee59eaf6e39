#include "modem/burst_generator.h"

#include <gtest/gtest.h>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "support/failing_memory.h"
#include "support/modem_guard.h"

namespace tonelink::test {

namespace {

/// What a call says that makes no burst, and so hands out nothing.
int32_t refusal(snfc_state **state, const char *message, int32_t nbits)
{
    int16_t *samples = nullptr;
    int32_t *length = nullptr;
    const auto bits = bits_of(message);
    const int32_t result = get_burst_snfc(state, bits.data(), nbits, &samples, &length);
    EXPECT_TRUE(samples == nullptr && length == nullptr) << nbits;
    return result;
}

} // namespace

TEST(BurstGenerator, BurstsOfOneStateFollowEachOther)
{
    open_modem modem;
    EXPECT_EQ(hash16(modem.burst(kPair32.bits)), kPair32.burst);
    EXPECT_EQ(hash16(modem.burst(kData48.bits)), "dc91f30cf3dd005f");
    EXPECT_EQ(hash16(modem.burst(kPair32.bits)), "15c22dc95b12f44b");
}

TEST(BurstGenerator, MirrorsUnlessItsStateSaysOtherwise)
{
    for (const int32_t inversion : {1, -2, 0}) {
        open_modem modem;
        modem->spectral_inversion = inversion;
        EXPECT_EQ(hash16(modem.burst(kPair32.bits)) == kPair32.burst, inversion != 0) << inversion;
    }
}

TEST(BurstGenerator, RemembersItsMessage)
{
    open_modem modem;
    auto burst = modem.burst(kPair32.bits);
    modem->burst_samples.data[1000] = burst[1000] ^= 0x55; // a caller's change stays
    const int32_t phase = sInfoTx.phase;
    EXPECT_EQ(modem.burst(kPair32.bits), burst);
    EXPECT_EQ(sInfoTx.phase, phase);

    // One bit less in common, or another length that begins alike, is another message.
    std::string other = kPair32.bits;
    other[0] ^= 1;
    for (const auto &message : {other, other + std::string(16, '0'), other}) {
        sInfoTx.phase = 0;
        EXPECT_EQ(modem.burst(message).size(), 23170u);
        EXPECT_NE(sInfoTx.phase, 0);
    }
}

TEST(BurstGenerator, RefusesWhatItCannotSend)
{
    snfc_state *none = nullptr;
    EXPECT_EQ(refusal(&none, kPair48.bits, 48), -2);
    open_modem modem;
    for (const int32_t nbits : {-1, 40, 31, 33, 49, -32, INT32_MAX})
        EXPECT_EQ(refusal(&modem, kPair48.bits, nbits), -3);
}

TEST(BurstGenerator, WithoutMemoryHoldsNothingAndGoesOn)
{
    // Message and burst; the message alone for one of another length.
    for (const auto &[before, n] : {std::pair{"", 0u}, {"", 1u}, {kPair48.bits, 0u}}) {
        open_modem modem;
        if (*before != 0) modem.burst(before);
        {
            const failing_allocation failure{n};
            EXPECT_EQ(refusal(&modem, kPair32.bits, 32), -4) << n;
        }
        EXPECT_TRUE(modem->burst_samples.length == 0 && modem->last_message.length == 0) << n;
        EXPECT_EQ(hash16(modem.burst(kPair32.bits)) == kPair32.burst, *before == 0) << n;
    }
}

} // namespace tonelink::test
