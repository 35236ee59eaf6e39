// Holds the vector stages, in every width that this processor has, to the plain forms bit for bit.
#include "modem/vector_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/band_shift.h"
#include "modem/channel_decoder.h"
#include "modem/fixed_fft.h"
#include "modem/known_bursts.h"
#include "modem/plain/band_shift.h"
#include "modem/plain/stream_receiver.h"
#include "modem/stream_receiver.h"
#include "support/modem_guard.h"
#include "support/scenes.h"
#include "support/signals.h"

namespace tonelink {

namespace {

using samples = std::vector<int16_t>;

/// Values that look for the edges: any, full scale, small, or around a threshold.
class edge_source {
public:
    explicit edge_source(uint32_t seed) : random_{seed} {}

    int16_t next(int kind)
    {
        const int32_t any = random_.next();
        switch (kind) {
        case 0: return static_cast<int16_t>(any);
        case 1: return any < 0 ? int16_t{-32768} : int16_t{32767};
        case 2: return static_cast<int16_t>(any >> 12);
        default: return static_cast<int16_t>((any < 0 ? -14000 : 14000) + any % 3);
        }
    }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_.next() + 32768) % limit; }
    test::lcg random_;
};
constexpr int kKinds = 4;

constexpr std::size_t kCounts[] = {1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 15, 16};

bool same(cplx16 a, cplx16 b) { return a.re == b.re && a.im == b.im; }

/// A batch of soft values, and the sums that they add up to.
template <std::size_t Bits> plain::soft_code<Bits> soft_code_of(edge_source &source, int kind)
{
    plain::soft_channel soft;
    for (int32_t &value : soft) {
        switch (kind) {
        case 0: value = source.next(0) * 15; break;
        case 1: value = source.next(0) < 0 ? -500000 : 500000; break; // the largest there are
        case 2: value = source.next(0) >> 14; break;                  // ties everywhere
        default: value = 0;
        }
    }
    return plain::recover_rate<Bits>(soft);
}

template <std::size_t Bits>
void put(const plain::soft_code<Bits> &code, std::size_t lane, code_sums<Bits> &sums)
{
    for (std::size_t t = 0; t < sums.kSteps; ++t) {
        sums.sums[3 * t][lane] = code[4 * t] + code[4 * t + 3];
        sums.sums[3 * t + 1][lane] = code[4 * t + 1];
        sums.sums[3 * t + 2][lane] = code[4 * t + 2];
    }
}

void search(const vector_stages &stages, const code_sums<32> &sums, std::size_t count,
            path_decisions<32> &decisions)
{
    stages.search_short_paths(sums, count, decisions);
}
void search(const vector_stages &stages, const code_sums<48> &sums, std::size_t count,
            path_decisions<48> &decisions)
{
    stages.search_long_paths(sums, count, decisions);
}

template <std::size_t Bits> void expect_paths_equal(const vector_stages &stages)
{
    edge_source source{Bits};
    for (int round = 0; round < 60; ++round) {
        const std::size_t count = kCounts[static_cast<std::size_t>(round) % std::size(kCounts)];
        code_sums<Bits> sums{};
        std::vector<encoder_input<Bits>> expected;
        unsigned accepted = 0;
        for (std::size_t lane = 0; lane < count; ++lane) {
            auto code = soft_code_of<Bits>(source, round % kKinds);
            if (lane % 5 == 3) { // a message that is one, at the largest or the smallest level
                const std::string text = test::kKnownBursts[Bits == 32 ? 0 : 1].bits;
                const auto bits = test::bits_of(text);
                const std::span<const uint8_t, Bits> message{bits.data(), Bits};
                const auto coded = encode_convolutional<Bits>(
                    mask_tail_Message<Bits>(message, message_crc<Bits>(message)));
                const int32_t level = round % 2 == 0 ? 1000000 : 1;
                for (std::size_t i = 0; i < code.size(); ++i)
                    code[i] = coded[i] != 0 ? -level : level;
            }
            put(code, lane, sums);
            expected.push_back(plain::viterbi_decoder<Bits>(code));
            if (is_accepted(de_getCrc24<Bits>(expected.back()))) accepted |= 1u << lane;
        }
        path_decisions<Bits> decisions;
        search(stages, sums, count, decisions);
        for (std::size_t lane = 0; lane < count; ++lane)
            ASSERT_EQ(trace_back(decisions, lane), expected[lane]) << round << ", lane " << lane;
        ASSERT_EQ(find_accepted(decisions, count), accepted) << round;
    }
}

template <std::size_t Bits>
void expect_sums(const plain::soft_channel &soft, const code_sums<Bits> &sums, std::size_t lane)
{
    const auto expected = std::make_unique<code_sums<Bits>>();
    put(plain::recover_rate<Bits>(soft), lane, *expected);
    for (std::size_t i = 0; i < std::size(sums.sums); ++i)
        ASSERT_EQ(sums.sums[i][lane], expected->sums[i][lane]) << Bits << ", slot " << i;
}

/// The documented stream fields of a receiver.
template <class Receiver> std::vector<int32_t> fields_of(const Receiver &receiver)
{
    test::open_modem modem;
    receiver.hand_back(**&modem);
    std::vector<int32_t> fields = {modem->fft_fill, modem->decim_phase, modem->agc_gain};
    const auto add = [&](const int16_t *values, int32_t count) {
        fields.insert(fields.end(), values, values + count);
    };
    add(modem->dns_delay.data, 37);
    add(modem->fft_input.data, modem->fft_fill);
    add(&modem->spectrum_history.data->re, 2 * 16531);
    add(modem->exponent_history.data, 271);
    return fields;
}

struct own_shifter : BandShiftInfo {
    own_shifter() { openBandShift(this, kBandShiftHz); }
    own_shifter(const own_shifter &) = delete;
    own_shifter &operator=(const own_shifter &) = delete;
    ~own_shifter() { closeBandShift(this); }
};

/// Everything that a receiver says about a recording in blocks of these sizes, in turn.
template <class Receiver>
std::vector<heard_message> hear(Receiver &receiver, const samples &signal,
                                const std::vector<std::size_t> &sizes, message_lengths lengths)
{
    own_shifter shifter;
    std::vector<heard_message> heard;
    std::size_t next = 0;
    for (std::size_t at = 0; at < signal.size();) {
        const std::size_t size = std::min(sizes[next++ % sizes.size()], signal.size() - at);
        receiver.receive(std::span{signal}.subspan(at, size), shifter, lengths,
                         [&](const heard_message &message) { heard.push_back(message); });
        at += size;
    }
    return heard;
}

samples mixed_scene()
{
    const auto &bursts = test::kKnownBursts;
    return test::scene{
        80000,
        {{bursts[0].bits, 1000, 2}, {bursts[1].bits, 26000, 40}, {bursts[3].bits, 52000}},
        {{17, 400}}}
        .samples();
}

} // namespace

class VectorStages : public testing::TestWithParam<const vector_stages *> {};

TEST_P(VectorStages, ShiftAsThePlainForm)
{
    samples worst; // signs that follow the taps, so that the sum leaves int32
    for (int i = 0; i < 6000; ++i) worst.push_back(i % 129 < 64 ? int16_t{-32768} : int16_t{32767});
    samples extreme = test::noise(6000, 3);
    for (auto &x : extreme) x = x < 0 ? int16_t{-32768} : int16_t{32767};
    for (const int32_t freq : {-1845, 1845, 0, 1, 22050, -44100, 2000000000, INT32_MIN}) {
        for (const samples &signal :
             {test::noise(6000, 2), extreme, worst, samples(5000, -32768)}) {
            BandShiftInfo fast, slow;
            openBandShift(&fast, freq);
            openBandShift(&slow, freq);
            samples by_fast = signal, by_slow = signal;
            const std::span<int16_t> all{by_fast};
            std::size_t at = 0;
            for (const std::size_t size : {1u, 63u, 511u, 80u, 513u, 0u, 441u})
                shift_band(all.subspan(std::exchange(at, at + size), size), fast, *GetParam());
            shift_band(all.subspan(at), fast, *GetParam());
            plain::shift_band(by_slow.data(), static_cast<int32_t>(by_slow.size()), slow);
            EXPECT_EQ(by_fast, by_slow) << freq;
            EXPECT_TRUE(fast.phase == slow.phase && fast.half == slow.half) << freq;
            closeBandShift(&fast);
            closeBandShift(&slow);
        }
    }
}

TEST_P(VectorStages, ReadTheOscillatorFromAnyPhase)
{
    const samples signal(100, -32768);
    for (int32_t phase = 0; phase<4096; phase += phase> 4080 ? 1 : 37) {
        for (const int32_t half : {0, 1}) {
            BandShiftInfo fast, slow;
            openBandShift(&fast, kBandShiftHz);
            openBandShift(&slow, kBandShiftHz);
            fast.phase = slow.phase = phase;
            fast.half = slow.half = half;
            samples by_fast = signal, by_slow = signal;
            shift_band(by_fast, fast, *GetParam());
            plain::shift_band(by_slow.data(), static_cast<int32_t>(by_slow.size()), slow);
            EXPECT_EQ(by_fast, by_slow) << phase;
            EXPECT_TRUE(fast.phase == slow.phase && fast.half == slow.half) << phase;
            closeBandShift(&fast);
            closeBandShift(&slow);
        }
    }
}

TEST_P(VectorStages, TransformAsThePlainForm)
{
    edge_source source{1};
    const auto spectra = std::make_unique<spectrum_rows>();
    for (int round = 0; round < 60; ++round) {
        baseband_rows rows;
        std::array<int16_t, 8 * baseband_rows::kPlaces> stream;
        for (std::size_t n = 0; n < stream.size(); ++n) {
            // Level and kind change within a batch, so that lanes halve at different stages.
            const int kind = static_cast<int>(n / 64 + static_cast<std::size_t>(round)) % kKinds;
            stream[n] = static_cast<int16_t>(source.next(kind) >> (round / kKinds % 3 * 2));
            cplx16 &pair = rows.pairs[n / 2 % 4][n / 8];
            (n % 2 == 0 ? pair.re : pair.im) = stream[n];
        }
        const std::size_t count = kCounts[static_cast<std::size_t>(round) % std::size(kCounts)];
        const std::size_t column = source.below(spectrum_rows::kColumns - kBatch);
        GetParam()->transform_hops(rows, count, *spectra, column);
        for (std::size_t hop = 0; hop < count; ++hop) {
            symbol_spectrum expected;
            const int32_t exponent = forward_symbol_transform(
                std::span{stream}.subspan(8 * hop).first<kBodySamples>(), expected);
            ASSERT_EQ(spectra->exponents[column + hop], exponent) << round << ", hop " << hop;
            for (std::size_t k = 0; k < kUsedBins; ++k)
                ASSERT_TRUE(same(spectra->bins[k][column + hop], expected[kFirstUsedBin + k]))
                    << round << ", hop " << hop << ", bin " << k;
        }
    }
}

TEST_P(VectorStages, DemodulateAsThePlainForm)
{
    edge_source source{2};
    const auto spectra = std::make_unique<spectrum_rows>();
    const auto short_sums = std::make_unique<code_sums<32>>();
    const auto long_sums = std::make_unique<code_sums<48>>();
    for (int round = 0; round < 40; ++round) {
        for (auto &row : spectra->bins)
            for (cplx16 &bin : row)
                bin = {source.next(round % kKinds), source.next(round % kKinds)};
        for (int32_t &exponent : spectra->exponents) // all, the same for all, or the highest few
            exponent = static_cast<int32_t>(round % 3 == 0   ? source.below(7)
                                            : round % 3 == 1 ? static_cast<uint32_t>(round) % 7
                                                             : 4 + source.below(3));
        const std::size_t count = kCounts[static_cast<std::size_t>(round) % std::size(kCounts)];
        const std::size_t column = source.below(spectrum_rows::kColumns - 270 - kBatch);
        GetParam()->demodulate(*spectra, column, count, round % 5 != 1 ? short_sums.get() : nullptr,
                               round % 5 != 2 ? long_sums.get() : nullptr);
        for (std::size_t hop = 0; hop < count; ++hop) {
            plain::candidate burst;
            for (std::size_t s = 0; s < kSymbols; ++s) {
                const std::size_t from = column + hop + kSymbolHops * s;
                for (std::size_t k = 0; k < kUsedBins; ++k)
                    burst.bins[kUsedBins * s + k] = spectra->bins[k][from];
                burst.exponents[s] = static_cast<int16_t>(spectra->exponents[from]);
            }
            const plain::soft_channel soft = plain::demodulate(burst);
            if (round % 5 != 1) expect_sums(soft, *short_sums, hop);
            if (round % 5 != 2) expect_sums(soft, *long_sums, hop);
        }
    }
}

TEST_P(VectorStages, DecodeAsThePlainForm)
{
    expect_paths_equal<32>(*GetParam());
    expect_paths_equal<48>(*GetParam());
}

TEST_P(VectorStages, ReceiveAsThePlainForm)
{
    const samples loud = test::noise(40000, 73);
    const samples scene = mixed_scene();
    edge_source source{3};
    std::vector<std::size_t> random_sizes;
    for (int i = 0; i < 200; ++i) random_sizes.push_back(1 + source.below(3000));
    for (const samples &signal : {loud, scene}) {
        const auto plain = std::make_unique<plain::stream_receiver>();
        const auto expected = hear(*plain, signal, {signal.size()}, message_lengths::both);
        EXPECT_EQ(expected.empty(), signal == loud);
        for (const auto &sizes :
             {std::vector<std::size_t>{signal.size()}, {80}, {441}, {1, 2, 9}, random_sizes}) {
            const auto fast = std::make_unique<stream_receiver>(*GetParam());
            EXPECT_EQ(hear(*fast, signal, sizes, message_lengths::both), expected) << sizes[0];
            EXPECT_EQ(fields_of(*fast), fields_of(*plain)) << sizes[0];
            EXPECT_EQ(fast->position(), signal.size());
        }
    }
}

TEST_P(VectorStages, HearBothLengthsAtOnceAsEachAlone)
{
    const samples signal = mixed_scene();
    std::vector<heard_message> alone;
    for (const auto lengths : {message_lengths::only_32, message_lengths::only_48}) {
        const auto receiver = std::make_unique<stream_receiver>(*GetParam());
        const auto heard = hear(*receiver, signal, {4410}, lengths);
        EXPECT_GE(heard.size(), 10u);
        alone.insert(alone.end(), heard.begin(), heard.end());
    }
    std::ranges::stable_sort(alone, {}, &heard_message::position);
    const auto receiver = std::make_unique<stream_receiver>(*GetParam());
    EXPECT_EQ(hear(*receiver, signal, {4410}, message_lengths::both), alone);
    EXPECT_EQ(test::text_of(alone[0].message()), test::kKnownBursts[0].bits);
    EXPECT_EQ(test::text_of(alone.back().message()), test::kKnownBursts[3].bits);
}

INSTANTIATE_TEST_SUITE_P(AllWidths, VectorStages,
                         testing::ValuesIn(available_stages().begin(), available_stages().end()),
                         [](const auto &of) {
                             return of.param->name[0] == '8' ? "Lanes8" : "Lanes4";
                         });

} // namespace tonelink
