// Holds the vector stages, in every width that this processor has, to the reference forms bit for
// bit.
#include "modem/vector_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/reference/band_shift.h"
#include "modem/reference/burst_generator.h"
#include "modem/reference/interpolator.h"
#include "modem/reference/stream_receiver.h"
#include "modem/stream_receiver.h"
#include "support/decoding.h"
#include "support/receiving.h"
#include "support/scenes.h"
#include "support/signals.h"

namespace tonelink {

using test::hear;
using test::open_shifter;

namespace {

using samples = std::vector<int16_t>;
using burst_array = std::array<int16_t, kBurstSamples>;

constexpr int kKinds = 4;

/// Values that look for the edges: any, full scale, small, or few of them around a threshold.
class edge_source {
public:
    explicit edge_source(uint32_t seed) : random_{seed} {}

    int16_t next(int kind)
    {
        const int32_t any = random_.next();
        if (kind == 0) return static_cast<int16_t>(any);
        if (kind == 1) return any < 0 ? int16_t{-32768} : int16_t{32767};
        if (kind == 2 || any % 128 != 0) return static_cast<int16_t>(any >> 12);
        return static_cast<int16_t>((any < 0 ? -14000 : 14000) + any / 128 % 2);
    }
    cplx16 next_complex(int kind, int shift = 0)
    {
        const auto re = static_cast<int16_t>(next(kind) >> shift);
        return {re, static_cast<int16_t>(next(kind) >> shift)};
    }
    template <class Row> void fill(Row &row, int kind)
    {
        for (auto &value : row) value = next(kind);
    }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_.next() + 32768) % limit; }

private:
    test::lcg random_;
};

/// All counts of hops in turn.
std::size_t count_of(int round) { return 1 + static_cast<std::size_t>(7 * round) % kBatch; }

bool same(cplx16 a, cplx16 b) { return a.re == b.re && a.im == b.im; }

/// Shifts a signal in pieces, from a given phase, and holds the outcome to the reference form's.
void expect_reference_shift(const samples &signal, int32_t freq, int32_t phase, int32_t half,
                            const vector_stages &stages)
{
    open_shifter fast{freq}, slow{freq};
    fast.phase = slow.phase = phase;
    fast.half = slow.half = half;
    samples by_fast, by_slow = signal;
    test::in_blocks(signal, {1, 63, 511, 80, 513, 0, 441}, [&](std::span<const int16_t> block) {
        samples piece(block.begin(), block.end());
        shift_band(piece, fast, stages);
        by_fast.insert(by_fast.end(), piece.begin(), piece.end());
    });
    reference::shift_band(by_slow, slow);
    EXPECT_EQ(by_fast, by_slow) << freq << ", phase " << phase;
    EXPECT_EQ(fast.memory(), slow.memory()) << freq << ", phase " << phase;
}

/// Soft values up to the largest there are, small ones with many ties, or zeros.
template <std::size_t Bits> reference::soft_code<Bits> any_code(edge_source &source, int kind)
{
    reference::soft_channel soft{};
    for (int32_t &value : soft)
        if (kind < 3) value = std::clamp(source.next(kind) * (kind == 2 ? 1 : 16), -500000, 500000);
    return reference::recover_rate<Bits>(soft);
}

/// Those of what enters the encoder, at a level.
template <std::size_t Bits>
reference::soft_code<Bits> code_of(const encoder_input<Bits> &input, int32_t level)
{
    reference::soft_code<Bits> code;
    std::ranges::transform(encode_convolutional<Bits>(input), code.begin(),
                           [=](uint8_t bit) { return bit != 0 ? -level : level; });
    return code;
}

template <std::size_t Bits> void expect_reference_decisions(const vector_stages &stages)
{
    edge_source source{Bits};
    auto message = test::encoder_input_of<Bits>(test::kKnownBursts[Bits == 32 ? 0 : 1].bits);
    for (int round = 0; round < 64; ++round) {
        const int32_t level = round % 2 == 0 ? 1000000 : 1; // the largest, or the smallest
        std::vector<reference::soft_code<Bits>> codes;
        for (std::size_t lane = 0; lane < count_of(round); ++lane)
            codes.push_back(lane % 5 == 3 ? code_of<Bits>(message, level)
                                          : any_code<Bits>(source, round % kKinds));
        EXPECT_TRUE(test::decides_as_reference<Bits>(stages, codes)) << Bits << ", round " << round;
    }
    for (std::size_t i = 0; i < Bits + kCrcBits; ++i) { // by one bit no message
        auto other = message;
        other[i] ^= 1;
        const std::vector codes = {code_of<Bits>(other, 1)};
        EXPECT_TRUE(test::decides_as_reference<Bits>(stages, codes)) << Bits << ", bit " << i;
    }
}

template <std::size_t Bits>
void expect_sums(const reference::soft_channel &soft, const code_sums<Bits> &sums, std::size_t lane)
{
    const auto expected = std::make_unique<code_sums<Bits>>();
    test::put_sums<Bits>(reference::recover_rate<Bits>(soft), lane, *expected);
    for (std::size_t i = 0; i < std::size(sums.sums); ++i)
        ASSERT_EQ(sums.sums[i][lane], expected->sums[i][lane]) << Bits << ", slot " << i;
}

/// The candidate whose first symbol is a column.
reference::candidate candidate_at(const spectrum_rows &spectra, std::size_t column)
{
    reference::candidate burst;
    for (std::size_t s = 0; s < kSymbols; ++s) {
        const std::size_t from = column + kSymbolHops * s;
        for (std::size_t k = 0; k < kSubcarriers; ++k)
            burst.subcarriers[kSubcarriers * s + k] = spectra.subcarriers[k][from];
        burst.exponents[s] = static_cast<int16_t>(spectra.exponents[from]);
    }
    return burst;
}

} // namespace

class VectorStages : public testing::TestWithParam<const vector_stages *> {};

TEST_P(VectorStages, ShiftAsTheReferenceForm)
{
    samples worst; // signs that follow the taps, so that the sum leaves int32
    for (int i = 0; i < 6000; ++i) worst.push_back(i % 129 < 64 ? int16_t{-32768} : int16_t{32767});
    samples extreme(6000);
    edge_source{3}.fill(extreme, 1);
    for (const int32_t freq : {-1845, 1845, 0, 1, 22050, -44100, 2000000000, INT32_MIN})
        for (const samples &signal : {test::noise(6000, 2), extreme, worst, samples(5000, -32768)})
            expect_reference_shift(signal, freq, 0, freq > 0, *GetParam());
    // The modem's own oscillator, read from any phase.
    for (int32_t phase = 0; phase < 4096; phase += phase < 4080 ? 37 : 1)
        for (const int32_t half : {0, 1})
            expect_reference_shift(samples(100, -32768), kBandShiftHz, phase, half, *GetParam());
}

TEST_P(VectorStages, TransformSymbolsAsTheReferenceForm)
{
    // Of full scale, where every stage halves, and small ones, where few do.
    edge_source source{31};
    for (int round = 0; round < 40; ++round) {
        symbol_rows rows;
        for (auto &row : rows.subcarriers)
            for (int symbol = 0; symbol < int{kSymbols}; ++symbol)
                row[symbol] = source.next_complex(round % kKinds, (round / kKinds + symbol) % 16);
        body_rows bodies;
        GetParam()->transform_symbols(rows, bodies);
        for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
            symbol_spectrum spectrum{};
            for (std::size_t k = 0; k < kSubcarriers; ++k)
                spectrum[kFirstSubcarrier + k] = rows.subcarriers[k][symbol];
            symbol_body body;
            inverse_symbol_transform(spectrum, body);
            for (std::size_t n = 0; n < kBodySamples; ++n)
                ASSERT_EQ(bodies.samples[n][symbol], body[n]) << round << ", symbol " << symbol;
        }
    }
}

TEST_P(VectorStages, InterpolateAndNormaliseAsTheReferenceForm)
{
    edge_source source{21};
    burst_array fast, slow;
    for (int round = 0; round < 8; ++round) {
        frame_samples frame;
        source.fill(frame, round % kKinds);
        if (round == 0) frame.fill(-32768);
        interpolate_by_10(frame, fast, *GetParam());
        reference::interpolate_by_10(frame, slow);
        EXPECT_TRUE(fast == slow) << round;
    }
    // From full scale down to silence.
    for (int32_t peak = 32768;; peak = peak * 9 / 10) {
        for (int16_t &sample : fast) sample = static_cast<int16_t>(source.next(0) * peak / 32768);
        fast[3] = static_cast<int16_t>(-peak);
        fast[17] = fast.back() = static_cast<int16_t>(std::min(peak, 32767));
        slow = fast;
        normalise_peak(fast, *GetParam());
        reference::normalise_peak(slow);
        EXPECT_TRUE(fast == slow) << peak;
        if (peak == 0) break;
        EXPECT_GE(peak_magnitude(fast), 32766 - 32768 / peak) << peak;
    }
}

TEST_P(VectorStages, TransformHopsAsTheReferenceForm)
{
    edge_source source{1};
    const auto spectra = std::make_unique<spectrum_rows>();
    for (int round = 0; round < 64; ++round) {
        baseband_rows rows;
        std::array<int16_t, 8 * baseband_rows::kPlaces> stream;
        for (std::size_t n = 0; n < stream.size(); ++n) {
            // The kind changes within some batches, so that lanes halve at different stages.
            const int kind = (static_cast<int>(n / 64) * (round % 2) + round / 2) % kKinds;
            stream[n] = static_cast<int16_t>(source.next(kind) >> (round / kKinds % 3 * 2));
            cplx16 &pair = rows.pairs[n / 2 % 4][n / 8];
            (n % 2 == 0 ? pair.re : pair.im) = stream[n];
        }
        const std::size_t column = source.below(spectrum_rows::kColumns - kBatch);
        GetParam()->transform_hops(rows, count_of(round), *spectra, column);
        for (std::size_t hop = 0; hop < count_of(round); ++hop) {
            symbol_spectrum expected;
            const int32_t exponent = forward_symbol_transform(
                std::span{stream}.subspan(8 * hop).first<kBodySamples>(), expected);
            ASSERT_EQ(spectra->exponents[column + hop], exponent) << round << ", hop " << hop;
            for (std::size_t k = 0; k < kSubcarriers; ++k)
                ASSERT_TRUE(same(spectra->subcarriers[k][column + hop], expected[2 + k]))
                    << round << ", hop " << hop << ", subcarrier " << 2 + k;
        }
    }
}

TEST_P(VectorStages, DemodulateAsTheReferenceForm)
{
    edge_source source{2};
    const auto spectra = std::make_unique<spectrum_rows>();
    const auto short_sums = std::make_unique<code_sums<32>>();
    const auto long_sums = std::make_unique<code_sums<48>>();
    for (int round = 0; round < 48; ++round) {
        for (auto &row : spectra->subcarriers)
            for (cplx16 &value : row) value = source.next_complex(round % kKinds);
        for (int32_t &exponent : spectra->exponents) // all, the same for all, or the highest few
            exponent = static_cast<int32_t>(round % 3 == 0   ? source.below(7)
                                            : round % 3 == 1 ? static_cast<uint32_t>(round) % 7
                                                             : 4 + source.below(3));
        const std::size_t column = source.below(spectrum_rows::kColumns - 270 - kBatch);
        const bool wants_short = round % 5 != 1, wants_long = round % 5 != 2;
        GetParam()->demodulate(*spectra, column, count_of(round),
                               wants_short ? short_sums.get() : nullptr,
                               wants_long ? long_sums.get() : nullptr);
        for (std::size_t hop = 0; hop < count_of(round); ++hop) {
            const auto soft = reference::demodulate(candidate_at(*spectra, column + hop));
            if (wants_short) expect_sums(soft, *short_sums, hop);
            if (wants_long) expect_sums(soft, *long_sums, hop);
        }
    }
}

TEST_P(VectorStages, DecodeAsTheReferenceForm)
{
    expect_reference_decisions<32>(*GetParam());
    expect_reference_decisions<48>(*GetParam());
}

TEST_P(VectorStages, ReceiveAsTheReferenceForm)
{
    const auto &bursts = test::kKnownBursts;
    const test::scene mixed = {
        80000,
        {{bursts[0].bits, 1000, 2}, {bursts[1].bits, 26000, 40}, {bursts[3].bits, 52000}},
        {{17, 400}}};
    const samples loud = test::noise(40000, 73);
    edge_source source{3};
    std::vector<std::size_t> random_sizes(200);
    for (std::size_t &size : random_sizes) size = 1 + source.below(3000);
    for (const samples &signal : {loud, mixed.samples()}) {
        const auto reference = std::make_unique<reference::stream_receiver>();
        const auto expected = hear(*reference, signal, {signal.size()}, message_lengths::both);
        EXPECT_EQ(expected.heard.empty(), signal == loud);
        for (const auto &sizes :
             {std::vector{signal.size()}, {80}, {441}, {1, 2, 9}, random_sizes}) {
            const auto fast = std::make_unique<stream_receiver>(*GetParam());
            EXPECT_TRUE(hear(*fast, signal, sizes, message_lengths::both) == expected) << sizes[0];
            EXPECT_EQ(fast->position(), signal.size());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllWidths, VectorStages,
                         testing::ValuesIn(available_stages().begin(), available_stages().end()),
                         [](const auto &of) {
                             return of.param->name[0] == '8' ? "Lanes8" : "Lanes4";
                         });

} // namespace tonelink
