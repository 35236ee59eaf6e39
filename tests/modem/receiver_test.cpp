#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <span>

#include "modem/band_shift.h"
#include "modem/modem_state.h"
#include "support/failing_memory.h"
#include "support/fake_platform.h"
#include "support/known_scenes.h"
#include "support/modem_guard.h"
#include "support/receiving.h"
#include "tonelink/modem.h"

namespace tonelink::test {

namespace {

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
    using sizes = std::vector<std::size_t>;
    for (const auto &[recording, blocks, nbits, known] : {
             std::tuple{kThird, sizes{26000}, 32, "2c6c521c1287a186"},
             {kFull, {26000}, 48, "19cb768aa2e07329"},
             {kLoop, {4410}, 32, "7c34c92d812998dd"},
             {kThird, {4411}, 32, "b35a497a02799631"}, // odd blocks turn the signs round
             {kDeepInNoise, {52000}, 32, "4b4b0f9ad8e424e8"},
             {kNoiseAlone, {30000}, 32, "f79d8b833dc397b9"},
             {kThree, {26000, 26000, 28000}, 48, "e073ac52c9937e32"}, // new, new, new
         }) {
        open_modem modem;
        std::vector<int32_t> told;
        in_blocks(recording.samples(), blocks,
                  [&, bits = nbits](auto block) { receive(modem, block, bits, told); });
        EXPECT_EQ(hash16<int32_t>(told), known);
    }
}

TEST(Receiver, HearsInTheSmallestBlocks)
{
    // Of a hop each, which may hear a message. Faint bursts have spectra with the exponent 0.
    const scene faint = {26000, {{kData48.bits, 300, 1000}}, {{2, 2000}}};
    for (const scene &sound : {kTiny, faint}) {
        samples signal = sound.samples();
        signal.resize(signal.size() + 8000); // silence, with exponents of its own
        std::vector<int32_t> told;
        open_modem modem;
        int32_t position = 0;
        in_blocks(signal, {80}, [&](std::span<const int16_t> block) {
            ASSERT_GE(receive(&modem, block, 48), -1);
            if (modem->results.length > 0) told.push_back(position + modem->results.data[3]);
            position += static_cast<int32_t>(block.size());
        });
        open_modem other;
        ASSERT_EQ(receive(&other, signal, 48), 1);
        std::vector<int32_t> expected;
        for (int32_t i = 3; i < other->results.length; i += 4)
            expected.push_back(other->results.data[i]);
        EXPECT_EQ(told, expected);
        EXPECT_EQ(stream_of(**&modem), stream_of(**&other));
    }
}

TEST(Receiver, AResetForgetsTheSearchAndKeepsTheRest)
{
    const samples signal = kTwice.samples();
    open_modem modem;
    uint8_t *bits = nullptr;
    int32_t length = 0;
    const samples burst = modem.burst(kPair32.bits);
    std::vector<int32_t> told;
    receive(modem, std::span{signal}.first(27000), 32, told);
    EXPECT_EQ(check_snfc(&modem, &bits, &length), 1);
    // As after a block of another length, and a loud one; what the transform's input has does not
    // matter.
    modem->decim_phase = 7;
    modem->dns_delay.data[5] = 5;
    std::fill_n(modem->fft_input.data, 128, int16_t{0});

    EXPECT_EQ(reset_snfc(&modem), 1);
    EXPECT_EQ(stream_of(**&modem), silent_stream(modem->agc_gain));
    EXPECT_TRUE(modem->prev_msg_bytes.length == 0 && modem->msg_bytes.length == 0);
    EXPECT_GT(modem->results.length, 0);
    EXPECT_EQ(modem.burst(kPair32.bits), burst); // remembered
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == modem->msg_bits.data && length == 32);

    // The same message is a new one.
    receive(modem, std::span{signal}.last(27000), 32, told);
    EXPECT_EQ(hash16<int32_t>(told), "74822c3eab36cf0d");
}

TEST(Receiver, HandsOutTheMessageInAllItsForms)
{
    open_modem modem;
    EXPECT_EQ(receive(&modem, kTiny.samples(), 48), 1);
    auto records = contents(modem->results);
    records.resize(8);
    const int32_t at = records[3];
    EXPECT_EQ(records, (std::vector{1, 0x0123, 0x456789AB, at, 0, 0x0123, 0x456789AB, at + 80}));
    const std::vector<uint8_t> bytes = {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB};
    EXPECT_TRUE(contents(modem->msg_bytes) == bytes && contents(modem->prev_msg_bytes) == bytes);

    // A shorter message after it, on the same state; a call without samples forgets its records.
    EXPECT_EQ(receive(&modem, scene{26000, {{kData32.bits, 0}}}.samples(), 32), 1);
    EXPECT_EQ(contents(modem->prev_msg_bytes), (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
    const auto before = stream_of(**&modem);
    EXPECT_EQ(receive(&modem, {}, 32), -1);
    EXPECT_TRUE(modem->results.length == 0 && stream_of(**&modem) == before);
}

TEST(Receiver, PausesAtTheStartAndTheMiddle)
{
    const std::string one = "usleep(1500000)\n", two = one + one, three = two + one;
    for (const auto &[count, pauses] :
         {std::pair{0u, std::string{}}, {1u, one}, {2u, two}, {5u, three}, {4410u, two}}) {
        open_modem modem;
        platform.reset();
        receive(&modem, samples(count), 32);
        EXPECT_EQ(platform.trace(), pauses) << count;
    }

    // A caller's thread may record over the block while the receiver pauses.
    samples block = scene{25000, {{kPair32.bits, 500}}}.samples();
    open_modem modem;
    platform.on("usleep", [&] { std::ranges::fill(block, int16_t{12345}); });
    EXPECT_EQ(receive(&modem, block, 32), 1);
    platform.reset();
}

TEST(Receiver, TurnsTheSpectrumAsItsStateSays)
{
    const samples block = noise(38, /*seed=*/4);
    samples shifted = block;
    open_shifter shifter{1845};
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

TEST(Receiver, LeavesTheBandAloneWhereItsShifterIsClosed)
{
    open_modem modem;
    modem->spectral_inversion = 0;
    closeBandShift(&sInfoRx);
    const samples block = noise(38, /*seed=*/4);
    receive(&modem, block, 32);
    for (std::size_t i = 2; i < 38; ++i) EXPECT_EQ(modem->dns_delay.data[38 - i], block[i]) << i;
    reset_snfc(&modem);
    EXPECT_EQ(receive(&modem, kTiny.samples(), 48), -1);
}

TEST(Receiver, RefusesWithNothingChanged)
{
    const samples signal = kBothLengths.samples();
    const auto rest = std::span{signal}.last(26000);
    for (std::size_t n = 0; n < 6; ++n) { // the receiver, samples, records and three messages
        open_modem modem;
        receive(&modem, std::span{signal}.first(26000), 48);
        const auto before = std::pair{stream_of(**&modem), sInfoRx.phase};
        platform.reset();
        for (const int32_t nbits : {0, 16, 33, 64, -32})
            EXPECT_EQ(receive(&modem, rest, nbits), -3) << nbits;
        {
            const failing_allocation failure{n};
            EXPECT_EQ(receive(&modem, rest, 32), -4) << n;
        }
        EXPECT_EQ(platform.trace(), "") << n;
        EXPECT_TRUE((std::pair{stream_of(**&modem), sInfoRx.phase}) == before) << n;
        EXPECT_TRUE(modem->rx_status == 1 && modem->msg_bits.length == 48) << n;
        EXPECT_EQ(receive(&modem, rest, 32), 1) << n;
    }
}

TEST(Receiver, CopesWithWhatACallerHasLeftInItsFields)
{
    open_modem modem;
    std::fill_n(modem->exponent_history.data, 271, int16_t{-100});
    cvec16_free(&modem->spectrum_history);
    vec16_set_length(&modem->dns_delay, 3);
    vec16_set_length(&modem->fft_input, 500);
    modem->fft_fill = 100000;
    modem->decim_phase = -5;
    modem->agc_gain = -300;
    bvec_set_length(&modem->msg_bits, 5);
    vec32_set_length(&modem->results, 9);
    {
        const failing_allocation failure{6}; // what it works in is there, a buffer is not
        EXPECT_EQ(receive(&modem, samples(100), 32), -4);
    }
    EXPECT_EQ(receive(&modem, scene{26000, {{kPair32.bits, 1000}}}.samples(), 32), 1);
    EXPECT_EQ(modem->spectrum_history.length, 16531);
    EXPECT_EQ(text_of(contents(modem->msg_bits)), kPair32.bits);
}

} // namespace tonelink::test
