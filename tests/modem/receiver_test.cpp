#include <gtest/gtest.h>

#include <algorithm>
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

struct call_result {
    int32_t status = 0;
    int32_t *words = nullptr;
    int32_t *length = nullptr;
    std::vector<int32_t> records;
};

call_result call_receiver(snfc_state **state, const int16_t *block, int32_t count, int32_t nbits)
{
    call_result call;
    call.status = receiver_snfc(state, block, count, &call.words, &call.length, nbits);
    if (call.words != nullptr) call.records.assign(call.words, call.words + *call.length);
    return call;
}

call_result receive(open_modem &modem, std::span<const int16_t> block, int32_t nbits)
{
    const auto call =
        call_receiver(&modem, block.data(), static_cast<int32_t>(block.size()), nbits);
    EXPECT_TRUE(call.length == &modem->results.length && call.words == modem->results.data);
    EXPECT_EQ(*call.length, static_cast<int32_t>(call.records.size()));
    return call;
}

/// Receives a block; what the call says and leaves behind is added as the known answers hash it.
call_result receive(open_modem &modem, std::span<const int16_t> block, int32_t nbits,
                    std::vector<int32_t> &told)
{
    const call_result call = receive(modem, block, nbits);
    told.push_back(call.status);
    told.push_back(static_cast<int32_t>(call.records.size()));
    told.insert(told.end(), call.records.begin(), call.records.end());
    told.insert(told.end(), {modem->decode_count, modem->repeat_count, modem->agc_gain,
                             modem->fft_fill, modem->decim_phase});
    told.insert(told.end(), modem->msg_bits.data, modem->msg_bits.data + modem->msg_bits.length);
    return call;
}

std::vector<uint8_t> contents(const bvec &v) { return {v.data, v.data + v.length}; }

} // namespace

TEST(Receiver, KnownAnswers)
{
    const scene third = {26000, {{pair32, 1000, 3}}}; // of full scale
    const scene full = {26000, {{pair48, 777}}};
    const scene loop = {110000, {{data32, -8000, 10, 6, 23170}}, {{71, 60}}}; // from its middle
    const scene deep_in_noise = {52000, {{pair32, 900, 10}, {pair32, 26500, 10}}, {{72, 8}}};
    const scene noise_alone = {30000, {}, {{73}}}; // of full scale: what can wrap, wraps
    const struct {
        const scene &recording;
        std::size_t block;
        int32_t nbits;
        std::size_t heard;
        const char *told; // hash of all that the calls told
    } cases[] = {
        {third, 26000, 32, 13, "2c6c521c1287a186"},
        {full, 26000, 48, 13, "19cb768aa2e07329"},
        {loop, 4410, 32, 63, "7c34c92d812998dd"},
        {third, 4411, 32, 7, "b35a497a02799631"}, // odd blocks turn the signs round
        {deep_in_noise, 52000, 32, 12, "4b4b0f9ad8e424e8"},
        {noise_alone, 30000, 32, 0, "f79d8b833dc397b9"},
    };
    for (const auto &c : cases) {
        open_modem modem;
        std::vector<int32_t> told;
        std::size_t heard = 0;
        test::in_blocks(c.recording.samples(), {c.block}, [&](std::span<const int16_t> block) {
            heard += receive(modem, block, c.nbits, told).records.size() / 4;
        });
        EXPECT_EQ(heard, c.heard) << c.told;
        EXPECT_EQ(test::hash16<int32_t>(told), c.told);
    }
}

TEST(Receiver, TellsNewMessagesFromRepeats)
{
    // The known answer of two messages, then the first again: new, new, new.
    const scene three = {80000, {{pair48, 500, 4}, {data48, 26500, 8}, {pair48, 53000, 2}}};
    open_modem modem;
    std::vector<int32_t> told;
    test::in_blocks(three.samples(), {26000, 26000, 28000}, [&](std::span<const int16_t> block) {
        EXPECT_EQ(receive(modem, block, 48, told).status, 1);
    });
    EXPECT_EQ(test::hash16<int32_t>(told), "e073ac52c9937e32");

    // Once more, in a call of its own.
    const call_result again = receive(modem, scene{26000, {{pair48, 1000}}}.samples(), 48);
    EXPECT_EQ(again.status, 0);
    EXPECT_GT(again.records.size(), 0u);
    EXPECT_EQ(receive(modem, samples(26000), 48).status, -1);
    EXPECT_EQ(modem->repeat_count, 13 + static_cast<int>(again.records.size()) / 4);
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
    modem->decim_phase = 7; // as after a block of another length
    const snfc_state before = **&modem;

    EXPECT_EQ(reset_snfc(&modem), 1);
    EXPECT_EQ(stream_of(**&modem), test::silent_stream(before.agc_gain));
    EXPECT_EQ(modem->repeat_count, 0);
    EXPECT_TRUE(modem->prev_msg_bytes.length == 0 && modem->msg_bytes.length == 0);
    EXPECT_EQ(modem->decode_count, before.decode_count);
    EXPECT_EQ(modem->results.length, before.results.length);
    EXPECT_EQ(modem.burst(pair32), burst); // remembered
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_TRUE(bits == modem->msg_bits.data && length == 32);

    // The same message is a new one.
    receive(modem, std::span{signal}.last(27000), 32, told);
    EXPECT_EQ(test::hash16<int32_t>(told), "74822c3eab36cf0d");
    EXPECT_EQ(check_snfc(&modem, &bits, &length), 1);
}

TEST(Receiver, HearsBurstsFromFullScaleDownToAThreeThousandth)
{
    for (const std::string message : {pair32, data48}) {
        for (const int32_t div : {1, 30, 1000, 3000}) {
            const samples signal = scene{25000, {{message.c_str(), 700, div}}}.samples();
            open_modem modem;
            const auto call = receive(modem, signal, static_cast<int32_t>(message.size()));
            EXPECT_EQ(call.status, 1) << div;
            EXPECT_GE(call.records.size(), 4u * 10) << div;
            EXPECT_EQ(text_of(contents(modem->msg_bits)), message) << div;
        }
    }
}

TEST(Receiver, HandsOutTheMessageInAllItsForms)
{
    open_modem modem;
    const call_result call = receive(modem, scene{26000, {{data48, 0}}}.samples(), 48);
    ASSERT_GE(call.records.size(), 8u);
    EXPECT_EQ(call.records[1], 0x0123);
    EXPECT_EQ(call.records[2], 0x456789AB);
    EXPECT_EQ(call.records[4], 0); // a repeat
    EXPECT_EQ(call.records[7], call.records[3] + 80);
    EXPECT_EQ(contents(modem->msg_bytes),
              (std::vector<uint8_t>{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}));

    // A shorter message after it, on the same state.
    EXPECT_EQ(receive(modem, scene{26000, {{data32, 0}}}.samples(), 32).status, 1);
    EXPECT_EQ(text_of(contents(modem->msg_bits)), data32);
    EXPECT_EQ(contents(modem->prev_msg_bytes), (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
    EXPECT_EQ(modem->results.data[1], 0);
}

TEST(Receiver, PausesAtTheStartAndTheMiddle)
{
    const std::string once = "usleep(1500000)", twice = once + ' ' + once,
                      thrice = twice + ' ' + once;
    for (const auto &[count, pauses] : {std::pair<std::size_t, std::string>{0, ""},
                                        {1, once},
                                        {2, twice},
                                        {5, thrice},
                                        {4410, twice},
                                        {4411, thrice}}) {
        open_modem modem;
        test::platform.reset();
        receive(modem, samples(count), 32);
        EXPECT_EQ(test::platform.calls(), pauses) << count;
    }

    // A caller's thread may record over the block while the receiver pauses.
    samples block = scene{25000, {{pair32, 500}}}.samples();
    open_modem modem;
    test::platform.reset();
    test::platform.on("usleep", [&] { std::ranges::fill(block, int16_t{12345}); });
    EXPECT_EQ(receive(modem, block, 32).status, 1);
    test::platform.reset();
}

TEST(Receiver, GainFollowsTheLevel)
{
    open_modem modem;
    receive(modem, samples(20), 32);
    EXPECT_EQ(modem->agc_gain, 256 + 2 * 234);
    modem->agc_gain = 25600;
    receive(modem, samples(100), 32);
    EXPECT_EQ(modem->agc_gain, 25600 + 234); // limited where it is used, not where it is kept
    modem->agc_gain = -300;
    receive(modem, samples(10), 32);
    EXPECT_EQ(modem->agc_gain, 1 + 234);
    // A sample at its limit: the loudest that the filter lets through at the highest gain.
    modem->agc_gain = 25600;
    std::fill_n(modem->dns_delay.data, 37, int16_t{20000});
    receive(modem, samples(2), 32);
    EXPECT_EQ(modem->agc_gain, 25600 - 469);
    EXPECT_EQ(modem->fft_input.data[modem->fft_fill - 1], 30000);
}

TEST(Receiver, FieldsAreInTheirDocumentedOrder)
{
    const samples signal = scene{1270 + 90, {}, {{9, 4}}}.samples();
    open_modem modem;
    const auto frame = [&](std::size_t index) {
        const int16_t *const parts = &modem->spectrum_history.data[61 * index].re;
        return samples(parts, parts + 2 * 61);
    };
    // 128 samples make the first frame, eight more each further one.
    receive(modem, std::span{signal}.first(1270), 32);
    EXPECT_EQ(modem->fft_fill, 127);
    EXPECT_EQ(frame(270), samples(2 * 61));
    receive(modem, std::span{signal}.subspan(1270, 2), 32);
    EXPECT_EQ(modem->fft_fill, 120);
    EXPECT_EQ(modem->decim_phase, 2);
    EXPECT_EQ(modem->dns_delay.data[0], modem->dns_delay.data[1]); // the newest, twice
    EXPECT_TRUE(std::equal(&modem->fft_input.data[112], &modem->fft_input.data[120],
                           &modem->fft_input.data[120])); // the slide leaves the newest behind
    const samples newest = frame(270);
    EXPECT_NE(newest, samples(2 * 61));
    receive(modem, std::span{signal}.last(88), 32);
    EXPECT_EQ(frame(269), newest);
}

TEST(Receiver, RefusesWithNothingChanged)
{
    const samples signal(100, 1000);
    snfc_state *none = nullptr;
    EXPECT_EQ(call_receiver(&none, signal.data(), 100, 32).status, -2);
    EXPECT_EQ(reset_snfc(&none), -2);
    EXPECT_EQ(check_snfc(&none, nullptr, nullptr), -1);

    open_modem modem;
    modem->rx_status = 1;
    const auto before = stream_of(**&modem);
    test::platform.reset();
    for (const int32_t nbits : {0, 16, 33, 64, -32}) {
        const auto call = call_receiver(&modem, signal.data(), 100, nbits);
        EXPECT_EQ(call.status, -3) << nbits;
        EXPECT_TRUE(call.words == nullptr && call.length == nullptr) << nbits;
    }
    EXPECT_EQ(stream_of(**&modem), before);
    EXPECT_EQ(modem->rx_status, 1);
    EXPECT_EQ(test::platform.calls(), "");
}

TEST(Receiver, WithoutSamplesForgetsTheLastRecordsAlone)
{
    open_modem modem;
    const auto heard = receive(modem, scene{26000, {{pair32, 1000}}}.samples(), 32);
    ASSERT_GT(heard.records.size(), 0u);
    const auto before = stream_of(**&modem);
    const int32_t phase = sInfoRx.phase;
    for (const int32_t count : {0, -7}) {
        const auto call = call_receiver(&modem, nullptr, count, 32);
        EXPECT_EQ(call.status, -1);
        EXPECT_TRUE(call.words == nullptr && *call.length == 0);
    }
    EXPECT_EQ(stream_of(**&modem), before);
    EXPECT_EQ(sInfoRx.phase, phase);
    EXPECT_EQ(modem->msg_bits.length, 32);
}

TEST(Receiver, WithoutMemoryTheStreamStandsStill)
{
    const samples signal = scene{52000, {{data48, 1000, 2}, {pair32, 26000, 2}}}.samples();
    const int16_t *const rest = &signal[26000];
    open_modem undisturbed;
    receive(undisturbed, std::span{signal}.first(26000), 48);
    const auto expected = call_receiver(&undisturbed, rest, 26000, 32);

    open_modem modem;
    receive(modem, std::span{signal}.first(26000), 48);
    std::size_t n = 0;
    for (;; ++n) {
        const auto before = stream_of(**&modem);
        const int32_t phase = sInfoRx.phase;
        const test::failing_allocation failure{n};
        const auto call = call_receiver(&modem, rest, 26000, 32);
        if (!failure.happened()) {
            EXPECT_EQ(call.records, expected.records);
            break;
        }
        EXPECT_EQ(call.status, -4) << n;
        EXPECT_TRUE(call.words == nullptr && call.length == nullptr) << n;
        EXPECT_EQ(stream_of(**&modem), before) << n;
        EXPECT_EQ(sInfoRx.phase, phase) << n;
        EXPECT_EQ(modem->rx_status, 1) << n;
        EXPECT_EQ(modem->msg_bits.length, 48) << n;
    }
    EXPECT_GE(n, 3u);
}

TEST(Receiver, CopesWithBuffersThatACallerHasReplaced)
{
    const samples signal = scene{26000, {{pair32, 1000}}}.samples();
    open_modem modem;
    receive(modem, samples(5000), 32);
    cvec16_free(&modem->spectrum_history);
    vec16_set_length(&modem->dns_delay, 3);
    vec16_set_length(&modem->fft_input, 500);
    vec16_set_length(&modem->exponent_history, 271);
    std::fill_n(modem->exponent_history.data, 271, int16_t{-999});
    modem->fft_fill = 100000;
    modem->decim_phase = -5;
    bvec_set_length(&modem->msg_bits, 5);
    vec32_set_length(&modem->results, 9);
    EXPECT_EQ(receive(modem, signal, 32).status, 1);
    EXPECT_EQ(modem->spectrum_history.length, 16531);
    EXPECT_EQ(modem->msg_bits.length, 32);
}

} // namespace tonelink
