#include <gtest/gtest.h>

#include <algorithm>
#include <span>

#include "modem/band_shift.h"
#include "modem/known_bursts.h"
#include "modem/modem_state.h"
#include "support/failing_memory.h"
#include "support/fake_platform.h"
#include "support/modem_guard.h"
#include "support/scenes.h"
#include "tonelink/modem.h"

namespace tonelink {

using test::bits_of;
using test::open_modem;
using test::scene;
using test::text_of;

namespace {

const char *const pair32 = test::kKnownBursts[0].bits;
const char *const pair48 = test::kKnownBursts[1].bits;
const char *const data32 = test::kKnownBursts[2].bits;
const char *const data48 = test::kKnownBursts[3].bits;

using samples = std::vector<int16_t>;

struct call_result {
    int32_t status;
    std::vector<int32_t> records;
};

call_result receive(open_modem &modem, std::span<const int16_t> block, int32_t nbits)
{
    int32_t *records = nullptr;
    int32_t *length = nullptr;
    const int32_t status = receiver_snfc(&modem, block.data(), static_cast<int32_t>(block.size()),
                                         &records, &length, nbits);
    EXPECT_TRUE(length == &modem->results.length && records == modem->results.data);
    EXPECT_EQ(records == nullptr, *length == 0);
    return {status, {records, records + *length}};
}

/// The samples in blocks of `size`, the last one shorter.
template <class Use> void in_blocks(const samples &signal, std::size_t size, Use use)
{
    for (std::size_t at = 0; at < signal.size(); at += size)
        use(std::span{signal}.subspan(at, std::min(size, signal.size() - at)), at);
}

/// What a call has left behind, as the known answers hash it.
void append(std::vector<int32_t> &told, const call_result &call, const snfc_state &state)
{
    told.push_back(call.status);
    told.push_back(static_cast<int32_t>(call.records.size()));
    told.insert(told.end(), call.records.begin(), call.records.end());
    for (const int32_t field : {state.decode_count, state.repeat_count, int32_t{state.agc_gain},
                                state.fft_fill, state.decim_phase})
        told.push_back(field);
    told.insert(told.end(), state.msg_bits.data, state.msg_bits.data + state.msg_bits.length);
}

/// The documented receive fields, one after the other.
std::vector<int32_t> stream_fields(const snfc_state &state)
{
    std::vector<int32_t> fields = {state.fft_fill, state.decim_phase, state.agc_gain};
    const auto add = [&](const int16_t *values, int32_t count) {
        fields.insert(fields.end(), values, values + count);
    };
    add(state.dns_delay.data, state.dns_delay.length);
    add(state.fft_input.data, state.fft_input.length);
    add(&state.spectrum_history.data->re, 2 * state.spectrum_history.length);
    add(state.exponent_history.data, state.exponent_history.length);
    return fields;
}

} // namespace

TEST(Receiver, KnownAnswers)
{
    const struct {
        const char *name;
        scene recording;
        std::size_t block;
        int32_t nbits;
        const char *signal; // hash of the recording
        const char *told;   // hash of all that the calls told
        int heard;
        int first; // position of the first record in the stream
    } cases[] = {
        {"a burst at a third of full scale",
         {26000, {{pair32, 1000, 3}}},
         26000,
         32,
         "e9b6051f8d915d6f",
         "2c6c521c1287a186",
         13,
         23670},
        {"a burst at full scale",
         {26000, {{pair48, 777}}},
         26000,
         48,
         "e6459fa45eedeae0",
         "19cb768aa2e07329",
         13,
         23430},
        {"a loop in noise, heard from its middle",
         {110000, {{data32, -8000, 10, 6, 23170}}, {{71, 60}}},
         4410,
         32,
         "e8d1c2e5bc2f3ee1",
         "7c34c92d812998dd",
         63,
         14710},
        {"odd blocks turn the signs round",
         {26000, {{pair32, 1000, 3}}},
         4411,
         32,
         "e9b6051f8d915d6f",
         "b35a497a02799631",
         7,
         23910},
        {"deep in noise",
         {52000, {{pair32, 900, 10}, {pair32, 26500, 10}}, {{72, 8}}},
         52000,
         32,
         "dd596d28b372413a",
         "4b4b0f9ad8e424e8",
         12,
         23910},
        {"full-scale noise: what can wrap, wraps",
         {30000, {}, {{73}}},
         30000,
         32,
         "96713ef40339603f",
         "f79d8b833dc397b9",
         0,
         0},
    };
    for (const auto &c : cases) {
        const samples signal = c.recording.samples();
        ASSERT_EQ(test::hash16(signal), c.signal) << c.name;
        open_modem modem;
        std::vector<int32_t> told;
        int heard = 0;
        int first = 0;
        in_blocks(signal, c.block, [&](std::span<const int16_t> block, std::size_t at) {
            const call_result call = receive(modem, block, c.nbits);
            append(told, call, **&modem);
            if (heard == 0 && !call.records.empty()) first = static_cast<int>(at) + call.records[3];
            heard += static_cast<int>(call.records.size() / 4);
        });
        EXPECT_EQ(heard, c.heard) << c.name;
        EXPECT_EQ(first, c.first) << c.name;
        EXPECT_EQ(test::sha256_as<int32_t>(told).substr(0, 16), c.told) << c.name;
    }
}

TEST(Receiver, TellsNewMessagesFromRepeats)
{
    // The known answer of two messages, then the first again: new, new, new.
    const samples signal =
        scene{80000, {{pair48, 500, 4}, {data48, 26500, 8}, {pair48, 53000, 2}}}.samples();
    open_modem modem;
    std::vector<int32_t> told;
    std::size_t at = 0;
    for (const std::size_t size : {26000u, 26000u, 28000u}) {
        append(told, receive(modem, std::span{signal}.subspan(at, size), 48), **&modem);
        EXPECT_EQ(told[2], 1);
        at += size;
    }
    EXPECT_EQ(test::sha256_as<int32_t>(told).substr(0, 16), "e073ac52c9937e32");

    // Once more, in a call of its own.
    const call_result again = receive(modem, scene{26000, {{pair48, 1000}}}.samples(), 48);
    EXPECT_EQ(again.status, 0);
    EXPECT_GT(again.records.size(), 0u);
    const call_result silence = receive(modem, samples(26000), 48);
    EXPECT_EQ(silence.status, -1);
    EXPECT_EQ(modem->repeat_count, 13 + static_cast<int>(again.records.size()) / 4);
}

TEST(Receiver, AfterAResetTheSameMessageIsNew)
{
    const samples signal = scene{54000, {{data32, 600, 3}, {data32, 28000, 3}}}.samples();
    open_modem modem;
    std::vector<int32_t> told;
    append(told, receive(modem, std::span{signal}.first(27000), 32), **&modem);
    EXPECT_EQ(reset_snfc(&modem), 1);
    uint8_t *bits = nullptr;
    int32_t length = 0;
    EXPECT_EQ(check_snfc(&modem, &bits, &length), -1);
    EXPECT_EQ(text_of(std::span{bits, static_cast<std::size_t>(length)}), data32);
    EXPECT_EQ(modem->agc_gain, 25834);
    append(told, receive(modem, std::span{signal}.last(27000), 32), **&modem);
    EXPECT_EQ(test::sha256_as<int32_t>(told).substr(0, 16), "74822c3eab36cf0d");
    EXPECT_EQ(check_snfc(&modem, &bits, &length), 1);
}

TEST(Receiver, HearsBurstsFromFullScaleDownToAThreeThousandth)
{
    for (const char *message : {pair32, data48}) {
        for (const int32_t div : {1, 30, 1000, 3000}) {
            const samples signal = scene{25000, {{message, 700, div}}}.samples();
            open_modem modem;
            const auto bits = bits_of(message);
            const call_result call = receive(modem, signal, static_cast<int32_t>(bits.size()));
            EXPECT_EQ(call.status, 1) << div;
            EXPECT_GE(call.records.size(), 4u * 10) << div;
            EXPECT_EQ(text_of(std::span{modem->msg_bits.data, bits.size()}), message) << div;
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
    for (std::size_t i = 4; i < call.records.size(); i += 4) {
        EXPECT_EQ(call.records[i], 0);
        EXPECT_EQ(call.records[i + 3], call.records[i - 1] + 80);
    }
    EXPECT_EQ(call.records[3] % 80, 1270 % 80);
    EXPECT_EQ(std::vector(modem->msg_bytes.data, modem->msg_bytes.data + modem->msg_bytes.length),
              (std::vector<uint8_t>{0x01, 0x23, 0x45, 0x67, 0x89, 0xAB}));

    // A shorter message after it, on the same state.
    EXPECT_EQ(receive(modem, scene{26000, {{data32, 0}}}.samples(), 32).status, 1);
    EXPECT_EQ(modem->msg_bits.length, 32);
    EXPECT_EQ(std::vector(modem->prev_msg_bytes.data,
                          modem->prev_msg_bytes.data + modem->prev_msg_bytes.length),
              (std::vector<uint8_t>{0xDE, 0xAD, 0xBE, 0xEF}));
    EXPECT_EQ(modem->results.data[1], 0);
}

TEST(Receiver, EvenCutsDoNotShow)
{
    const samples signal = scene{30000, {{pair32, 3000, 5}}, {{5, 50}}}.samples();
    open_modem whole;
    const call_result expected = receive(whole, signal, 32);
    for (const std::size_t size : {22u, 80u, 442u, 4410u, 11586u}) {
        open_modem parts;
        std::vector<int32_t> records;
        in_blocks(signal, size, [&](std::span<const int16_t> block, std::size_t at) {
            call_result call = receive(parts, block, 32);
            for (std::size_t i = 3; i < call.records.size(); i += 4)
                call.records[i] += static_cast<int32_t>(at);
            records.insert(records.end(), call.records.begin(), call.records.end());
        });
        EXPECT_EQ(records, expected.records) << size;
        EXPECT_EQ(stream_fields(**&parts), stream_fields(**&whole)) << size;
    }
}

TEST(Receiver, PausesAtTheStartAndTheMiddle)
{
    const struct {
        std::size_t count;
        const char *pauses;
    } cases[] = {
        {0, ""},
        {1, "usleep(1500000)"},
        {2, "usleep(1500000) usleep(1500000)"},
        {5, "usleep(1500000) usleep(1500000) usleep(1500000)"},
        {4410, "usleep(1500000) usleep(1500000)"},
        {4411, "usleep(1500000) usleep(1500000) usleep(1500000)"},
    };
    for (const auto &c : cases) {
        open_modem modem;
        test::platform.reset();
        receive(modem, samples(c.count), 32);
        EXPECT_EQ(test::platform.calls(), c.pauses) << c.count;
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
    // 128 samples make the first frame, eight more each further one.
    const samples signal = scene{1270 + 90, {}, {{9, 4}}}.samples();
    open_modem modem;
    receive(modem, std::span{signal}.first(1270), 32);
    EXPECT_EQ(modem->fft_fill, 127);
    EXPECT_TRUE(std::all_of(&modem->spectrum_history.data[0], &modem->spectrum_history.data[16531],
                            [](cplx16 x) { return x.re == 0 && x.im == 0; }));
    receive(modem, std::span{signal}.subspan(1270, 2), 32);
    EXPECT_EQ(modem->fft_fill, 120);
    EXPECT_EQ(modem->decim_phase, 2);
    EXPECT_EQ(modem->dns_delay.data[0], modem->dns_delay.data[1]); // the newest, twice
    EXPECT_TRUE(std::equal(&modem->fft_input.data[112], &modem->fft_input.data[120],
                           &modem->fft_input.data[120])); // the slide leaves the newest behind

    const std::vector<cplx16> newest(&modem->spectrum_history.data[270 * 61],
                                     &modem->spectrum_history.data[271 * 61]);
    EXPECT_TRUE(std::any_of(newest.begin(), newest.end(), [](cplx16 x) { return x.re != 0; }));
    receive(modem, std::span{signal}.last(88), 32);
    const auto same = [](cplx16 a, cplx16 b) { return a.re == b.re && a.im == b.im; };
    EXPECT_TRUE(
        std::equal(newest.begin(), newest.end(), &modem->spectrum_history.data[269 * 61], same));
}

TEST(Receiver, RefusesWithNothingChanged)
{
    const samples signal(100, 1000);
    int32_t *records = nullptr;
    int32_t *length = nullptr;
    snfc_state *none = nullptr;
    EXPECT_EQ(receiver_snfc(&none, signal.data(), 100, &records, &length, 32), -2);

    open_modem modem;
    modem->rx_status = 1;
    const auto before = stream_fields(**&modem);
    test::platform.reset();
    for (const int32_t nbits : {0, 16, 33, 64, -32})
        EXPECT_EQ(receiver_snfc(&modem, signal.data(), 100, &records, &length, nbits), -3);
    EXPECT_EQ(stream_fields(**&modem), before);
    EXPECT_EQ(modem->rx_status, 1);
    EXPECT_EQ(test::platform.calls(), "");
    EXPECT_TRUE(records == nullptr && length == nullptr);
}

TEST(Receiver, WithoutSamplesForgetsTheLastRecordsAlone)
{
    open_modem modem;
    receive(modem, scene{26000, {{pair32, 1000}}}.samples(), 32);
    ASSERT_GT(modem->results.length, 0);
    const auto before = stream_fields(**&modem);
    const int32_t phase = sInfoRx.phase;
    for (const int32_t count : {0, -7}) {
        int32_t *records = nullptr;
        int32_t *length = nullptr;
        EXPECT_EQ(receiver_snfc(&modem, nullptr, count, &records, &length, 32), -1);
        EXPECT_TRUE(records == nullptr && *length == 0);
    }
    EXPECT_EQ(stream_fields(**&modem), before);
    EXPECT_EQ(sInfoRx.phase, phase);
    EXPECT_EQ(modem->msg_bits.length, 32);
}

TEST(Receiver, WithoutMemoryTheStreamStandsStill)
{
    const samples signal = scene{52000, {{data48, 1000, 2}, {pair32, 26000, 2}}}.samples();
    open_modem expected;
    receive(expected, std::span{signal}.first(26000), 48);
    const auto record = receive(expected, std::span{signal}.last(26000), 32);

    open_modem modem;
    receive(modem, std::span{signal}.first(26000), 48);
    std::size_t n = 0;
    for (;; ++n) {
        const auto before = stream_fields(**&modem);
        const int32_t phase = sInfoRx.phase;
        int32_t *records = nullptr;
        int32_t *length = nullptr;
        int32_t status;
        bool happened;
        {
            const test::failing_allocation failure{n};
            status = receiver_snfc(&modem, &signal[26000], 26000, &records, &length, 32);
            happened = failure.happened();
        }
        if (!happened) {
            EXPECT_EQ(std::vector(records, records + *length), record.records);
            break;
        }
        EXPECT_EQ(status, -4) << n;
        EXPECT_TRUE(records == nullptr && length == nullptr) << n;
        EXPECT_EQ(stream_fields(**&modem), before) << n;
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
