#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <span>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "modem/modem_state.h"
#include "support/failing_memory.h"
#include "support/fake_platform.h"
#include "support/modem_guard.h"
#include "support/receiving.h"
#include "support/scenes.h"
#include "tonelink/modem.h"

namespace tonelink {

using test::open_modem;
using test::scene;
using test::stream_of;
using test::text_of;

namespace {

const char *const pair32 = test::kKnownBursts[0].bits;
const char *const pair48 = test::kKnownBursts[1].bits;
const char *const data32 = test::kKnownBursts[2].bits;
const char *const data48 = test::kKnownBursts[3].bits;

using samples = std::vector<int16_t>;

/// Calls the receiver, which hands out its state's records unless it refuses the call.
int32_t receive(snfc_state **state, std::span<const int16_t> block, int32_t nbits)
{
    int32_t *words = nullptr;
    int32_t *length = nullptr;
    const int32_t status = receiver_snfc(state, block.data(), static_cast<int32_t>(block.size()),
                                         &words, &length, nbits);
    EXPECT_EQ(words, status < -1 ? nullptr : (*state)->results.data);
    EXPECT_EQ(length, status < -1 ? nullptr : &(*state)->results.length);
    return status;
}

std::vector<int32_t> contents(const vec32 &v) { return {v.data, v.data + v.length}; }
std::vector<uint8_t> contents(const bvec &v) { return {v.data, v.data + v.length}; }

/// Receives a block; what the call says and leaves behind is added as the known answers hash it.
void receive(open_modem &modem, std::span<const int16_t> block, int32_t nbits,
             std::vector<int32_t> &told)
{
    const int32_t status = receive(&modem, block, nbits);
    const auto records = contents(modem->results);
    told.insert(told.end(), {status, modem->results.length});
    told.insert(told.end(), records.begin(), records.end());
    told.insert(told.end(), {modem->decode_count, modem->repeat_count, modem->agc_gain,
                             modem->fft_fill, modem->decim_phase});
    std::ranges::copy(contents(modem->msg_bits), std::back_inserter(told));
}

} // namespace

TEST(Receiver, KnownAnswers)
{
    const scene third = {26000, {{pair32, 1000, 3}}}; // of full scale
    const scene full = {26000, {{pair48, 777}}};
    const scene loop = {110000, {{data32, -8000, 10, 6, 23170}}, {{71, 60}}}; // from its middle
    const scene deep_in_noise = {52000, {{pair32, 900, 10}, {pair32, 26500, 10}}, {{72, 8}}};
    const scene noise_alone = {30000, {}, {{73}}}; // of full scale: what can wrap, wraps
    const scene three = {80000, {{pair48, 500, 4}, {data48, 26500, 8}, {pair48, 53000, 2}}};
    const struct {
        const scene &recording;
        std::vector<std::size_t> blocks;
        int32_t nbits;
        const char *told; // hash of all that the calls told
    } cases[] = {
        {third, {26000}, 32, "2c6c521c1287a186"},
        {full, {26000}, 48, "19cb768aa2e07329"},
        {loop, {4410}, 32, "7c34c92d812998dd"},
        {third, {4411}, 32, "b35a497a02799631"}, // odd blocks turn the signs round
        {deep_in_noise, {52000}, 32, "4b4b0f9ad8e424e8"},
        {noise_alone, {30000}, 32, "f79d8b833dc397b9"},
        {three, {26000, 26000, 28000}, 48, "e073ac52c9937e32"}, // new, new, new
    };
    for (const auto &c : cases) {
        open_modem modem;
        std::vector<int32_t> told;
        test::in_blocks(c.recording.samples(), c.blocks, [&](std::span<const int16_t> block) {
            receive(modem, block, c.nbits, told);
        });
        EXPECT_EQ(test::hash16<int32_t>(told), c.told);
    }
}

TEST(Receiver, AResetForgetsTheSearchAndKeepsTheRest)
{
    const samples signal = scene{54000, {{data32, 600, 3}, {data32, 28000, 3}}}.samples();
    open_modem modem;
    uint8_t *bits = nullptr;
    int32_t length = 77;
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == nullptr && length == 77);
    const samples burst = modem.burst(pair32);
    std::vector<int32_t> told;
    receive(modem, std::span{signal}.first(27000), 32, told);
    EXPECT_EQ(check_snfc(&modem, &bits, &length), 1);
    modem->decim_phase = 7;                              // as after a block of another length
    std::fill_n(modem->fft_input.data, 128, int16_t{0}); // what lies there does not matter
    const int32_t gain = modem->agc_gain;

    EXPECT_EQ(reset_snfc(&modem), 1);
    EXPECT_EQ(stream_of(**&modem), test::silent_stream(gain));
    EXPECT_TRUE(modem->prev_msg_bytes.length == 0 && modem->msg_bytes.length == 0);
    EXPECT_GT(modem->results.length, 0);
    EXPECT_EQ(modem.burst(pair32), burst); // remembered
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == modem->msg_bits.data && length == 32);

    // The same message is a new one.
    receive(modem, std::span{signal}.last(27000), 32, told);
    EXPECT_EQ(test::hash16<int32_t>(told), "74822c3eab36cf0d");
}

TEST(Receiver, HandsOutTheMessageInAllItsForms)
{
    open_modem modem;
    EXPECT_EQ(receive(&modem, scene{26000, {{data48, 0, 3000}}}.samples(), 48), 1);
    auto records = contents(modem->results);
    records.resize(8);
    const int32_t at = records[3];
    EXPECT_EQ(records, (std::vector{1, 0x0123, 0x456789AB, at, 0, 0x0123, 0x456789AB, at + 80}));
    EXPECT_EQ(text_of(contents(modem->msg_bits)), data48);
    const std::vector<uint8_t> bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB};
    EXPECT_TRUE(contents(modem->msg_bytes) == bytes && contents(modem->prev_msg_bytes) == bytes);

    // A shorter message after it, on the same state; a call without samples forgets its records.
    EXPECT_EQ(receive(&modem, scene{26000, {{data32, 0}}}.samples(), 32), 1);
    EXPECT_EQ(modem->results.data[1], 0);
    EXPECT_EQ(contents(modem->prev_msg_bytes), (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
    const auto before = stream_of(**&modem);
    EXPECT_EQ(receive(&modem, {}, 32), -1);
    EXPECT_TRUE(modem->results.length == 0 && stream_of(**&modem) == before);
    EXPECT_EQ(text_of(contents(modem->msg_bits)), data32);
}

TEST(Receiver, PausesAtTheStartAndTheMiddle)
{
    for (const auto &[count, pauses] :
         {std::pair<std::size_t, int>{0, 0}, {1, 1}, {2, 2}, {5, 3}, {4410, 2}}) {
        open_modem modem;
        std::string expected;
        for (int i = 0; i < pauses; ++i) expected += "usleep(1500000)\n";
        test::platform.reset();
        receive(&modem, samples(count), 32);
        EXPECT_EQ(test::platform.trace(), expected) << count;
    }

    // A caller's thread may record over the block while the receiver pauses.
    samples block = scene{25000, {{pair32, 500}}}.samples();
    open_modem modem;
    test::platform.on("usleep", [&] { std::ranges::fill(block, int16_t{12345}); });
    EXPECT_EQ(receive(&modem, block, 32), 1);
    test::platform.reset();
}

TEST(Receiver, GainFollowsTheLevelFromWhereItIsInRange)
{
    // In silence; limited where it is used, not where it is kept.
    for (const auto &[gain, count, after] : {std::tuple{256, 20, 256 + 2 * 234},
                                             {25600, 100, 25600 + 234},
                                             {32767, 10, 25600 + 234},
                                             {-300, 10, 1 + 234}}) {
        open_modem modem;
        modem->agc_gain = static_cast<int16_t>(gain);
        receive(&modem, samples(static_cast<std::size_t>(count)), 32);
        EXPECT_EQ(modem->agc_gain, after);
    }
}

TEST(Receiver, TurnsTheSpectrumAsItsStateSays)
{
    const samples block = test::noise(38, /*seed=*/4);
    samples shifted = block;
    test::open_shifter shifter{1845};
    makeBandShift(shifted.data(), 38, &shifter);
    // Nothing negated; samples 1, 3, 5, ...; samples 0, 2, 4, ...
    for (const auto &[inversion, phase, first] :
         {std::tuple{0, 0, 38u}, {0, 1, 38u}, {1, 0, 1u}, {2, 0, 1u}, {1, 1, 0u}, {1, -2, 0u}}) {
        open_modem modem;
        modem->spectral_inversion = inversion;
        modem->invert_phase = phase;
        receive(&modem, block, 32);
        for (std::size_t i = 2; i < 38; ++i) { // the delay line has the newest first
            const bool is_negated = i >= first && i % 2 == first % 2;
            EXPECT_EQ(modem->dns_delay.data[38 - i], is_negated ? -shifted[i] : shifted[i])
                << inversion << ' ' << phase << ' ' << i;
        }
    }
}

TEST(Receiver, RefusesWithNothingChanged)
{
    const samples signal(100, 1000);
    snfc_state *none = nullptr;
    EXPECT_EQ(receive(&none, signal, 32), -2);
    EXPECT_TRUE(reset_snfc(&none) == -2 && check_snfc(&none, nullptr, nullptr) == -1);

    open_modem modem;
    modem->rx_status = 1;
    test::platform.reset();
    for (const int32_t nbits : {0, 16, 33, 64, -32}) EXPECT_EQ(receive(&modem, signal, nbits), -3);
    EXPECT_EQ(stream_of(**&modem), test::silent_stream(256));
    EXPECT_TRUE(modem->rx_status == 1 && test::platform.trace() == "");
}

TEST(Receiver, WithoutMemoryTheStreamStandsStill)
{
    const samples signal = scene{52000, {{data48, 1000, 2}, {pair32, 26000, 2}}}.samples();
    const auto rest = std::span{signal}.last(26000);
    for (std::size_t n = 0; n < 6; ++n) { // the receiver, samples, records and three messages
        open_modem modem;
        receive(&modem, std::span{signal}.first(26000), 48);
        const auto before = stream_of(**&modem);
        const int32_t phase = sInfoRx.phase;
        {
            const test::failing_allocation failure{n};
            EXPECT_EQ(receive(&modem, rest, 32), -4) << n;
        }
        EXPECT_TRUE(stream_of(**&modem) == before && sInfoRx.phase == phase) << n;
        EXPECT_TRUE(modem->rx_status == 1 && modem->msg_bits.length == 48) << n;
        EXPECT_EQ(receive(&modem, rest, 32), 1) << n;
    }
}

TEST(Receiver, CopesWithWhatACallerHasLeftInItsFields)
{
    open_modem modem;
    // Exponents that no transform says are handed back, three frames older.
    const std::span history{modem->exponent_history.data, 271};
    std::iota(history.begin(), history.end(), int16_t{-100});
    modem->spectrum_history.data[61 * 3] = {5, 6};
    receive(&modem, test::noise(1500, 1), 32);
    EXPECT_EQ(history.front(), -97);
    EXPECT_EQ(history[267], 170);
    for (const int16_t made : history.last(3)) EXPECT_TRUE(made >= 0 && made <= 6) << made;
    EXPECT_EQ(modem->spectrum_history.data[0].im, 6);

    cvec16_free(&modem->spectrum_history);
    vec16_set_length(&modem->dns_delay, 3);
    vec16_set_length(&modem->fft_input, 500);
    modem->fft_fill = 100000;
    modem->decim_phase = -5;
    bvec_set_length(&modem->msg_bits, 5);
    vec32_set_length(&modem->results, 9);
    EXPECT_EQ(receive(&modem, scene{26000, {{pair32, 1000}}}.samples(), 32), 1);
    EXPECT_EQ(modem->spectrum_history.length, 16531);
    EXPECT_EQ(modem->msg_bits.length, 32);
}

} // namespace tonelink
