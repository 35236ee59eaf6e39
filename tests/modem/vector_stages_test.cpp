// Holds the vector stages, in every width that this processor has, to the reference forms bit for
// bit.
#include "modem/vector_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/fixed_fft.h"
#include "modem/known_bursts.h"
#include "modem/reference/band_shift.h"
#include "modem/reference/burst_generator.h"
#include "modem/reference/demodulator.h"
#include "support/decoding.h"
#include "support/receiving.h"

namespace tonelink::test {

namespace {

using samples = std::vector<int16_t>;
using burst_array = std::array<int16_t, kBurstSamples>;

/// Values that look for the edges: any, full scale, small, or few of them around a threshold.
struct edge_source : lcg {
    using lcg::lcg;

    int16_t next(std::size_t kind)
    {
        const int32_t any = lcg::next();
        if (kind == 0) return static_cast<int16_t>(any);
        if (kind == 1) return any < 0 ? int16_t{-32768} : int16_t{32767};
        if (kind == 2 || any % 128 != 0) return static_cast<int16_t>(any >> 12);
        return static_cast<int16_t>((any < 0 ? -14000 : 14000) + any / 128 % 2);
    }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(lcg::next() + 32768) % limit; }
};

/// All counts of hops in turn.
std::size_t count_of(std::size_t round) { return 1 + 7 * round % kBatch; }

/// Shifts a signal in pieces, from a given phase, and holds the outcome to the reference form's.
void expect_reference_shift(const samples &signal, int32_t freq, int32_t phase, int32_t half,
                            const vector_stages &stages)
{
    open_shifter fast{freq}, slow{freq};
    fast.phase = slow.phase = phase;
    fast.half = slow.half = half;
    samples by_fast, by_slow = signal;
    in_blocks(signal, {1, 63, 511, 80, 513, 0, 441}, [&](std::span<const int16_t> block) {
        samples piece(block.begin(), block.end());
        shift_band(piece, fast, stages);
        by_fast.insert(by_fast.end(), piece.begin(), piece.end());
    });
    reference::shift_band(by_slow, slow);
    EXPECT_EQ(by_fast, by_slow) << freq << ", phase " << phase;
    EXPECT_EQ(fast.memory(), slow.memory()) << freq << ", phase " << phase;
}

/// Soft values of any candidate, up to the largest there are, with many ties among small ones.
template <std::size_t Bits>
reference::soft_code<Bits> any_code(edge_source &source, std::size_t kind)
{
    reference::soft_channel soft;
    for (int32_t &value : soft) value = std::clamp(source.next(kind) * 16, -500000, 500000);
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

/// Puts what the soft values of a candidate add up to into one lane.
template <std::size_t Bits>
void put_sums(const reference::soft_code<Bits> &code, std::size_t lane, code_sums<Bits> &sums)
{
    for (std::size_t t = 0; t < sums.kSteps; ++t) {
        sums.sums[3 * t][lane] = code[4 * t] + code[4 * t + 3];
        sums.sums[3 * t + 1][lane] = code[4 * t + 1];
        sums.sums[3 * t + 2][lane] = code[4 * t + 2];
    }
}

template <std::size_t Bits> void expect_reference_decisions(const vector_stages &stages)
{
    edge_source source{Bits};
    const auto message = encoder_input_of<Bits>((Bits == 32 ? kPair32 : kPair48).bits);
    for (std::size_t round = 0; round < Bits + kCrcBits; ++round) {
        const int32_t level = round % 2 == 0 ? 1000000 : 1; // the largest, or the smallest
        auto other = message;
        other[round] ^= 1; // by one bit no message
        std::vector codes = {code_of<Bits>(other, level)};
        while (codes.size() < count_of(round))
            codes.push_back(codes.size() % 5 == 3 ? code_of<Bits>(message, level)
                                                  : any_code<Bits>(source, round % 4));
        code_sums<Bits> sums{};
        for (std::size_t lane = 0; lane < codes.size(); ++lane)
            put_sums<Bits>(codes[lane], lane, sums);
        survivors<Bits> surviving;
        if constexpr (Bits == 32)
            stages.select_short_survivors(sums, codes.size(), surviving);
        else
            stages.select_long_survivors(sums, codes.size(), surviving);
        unsigned accepted = 0;
        for (std::size_t lane = 0; lane < codes.size(); ++lane) {
            const auto expected = reference::viterbi_decoder<Bits>(codes[lane]);
            EXPECT_TRUE(trace_back(surviving, lane) == expected) << Bits << ", round " << round;
            if (passes_crc_check(de_getCrc24<Bits>(expected))) accepted |= 1u << lane;
        }
        EXPECT_EQ(check_crcs(surviving, codes.size()), accepted) << Bits << ", round " << round;
    }
}

/// Whether a lane has the sums of a candidate's soft values.
template <std::size_t Bits>
bool has_sums(const reference::soft_channel &soft, code_sums<Bits> sums, std::size_t lane)
{
    const code_sums<Bits> actual = sums;
    put_sums<Bits>(reference::recover_rate<Bits>(soft), lane, sums);
    return std::memcmp(&actual, &sums, sizeof sums) == 0;
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
    for (const int32_t freq : {-1845, 1845, 0, 1, 22050, -44100, 2000000000, INT32_MIN})
        for (const samples &signal : {noise(6000, 2), worst, samples(5000, -32768)})
            expect_reference_shift(signal, freq, 0, freq > 0, *GetParam());
    // The modem's own oscillator, read from any phase.
    for (int32_t phase = 0; phase < 4096; phase += phase < 4080 ? 37 : 1)
        for (const int32_t half : {0, 1})
            expect_reference_shift(samples(100, -32768), kBandShiftHz, phase, half, *GetParam());
}

TEST_P(VectorStages, MakeBurstsAsTheReferenceForm)
{
    edge_source source{21};
    open_shifter fast_shifter{-kBandShiftHz}, slow_shifter{-kBandShiftHz};
    for (int round = 0; round < 60; ++round) {
        std::vector<uint8_t> message(round % 2 == 0 ? 32 : 48);
        for (uint8_t &bit : message) bit = source.next(0) < 0;
        burst_array fast, slow;
        make_burst(message, round % 3 != 0, fast_shifter, fast, *GetParam());
        reference::make_burst(message, round % 3 != 0, slow_shifter, slow);
        EXPECT_TRUE(fast == slow) << text_of(message);
    }
}

TEST_P(VectorStages, NormaliseAsTheReferenceForm)
{
    edge_source source{22};
    for (int32_t peak = 32768;; peak = peak * 9 / 10) { // down to silence
        burst_array fast;
        for (int16_t &sample : fast) sample = static_cast<int16_t>(source.next(0) * peak / 32768);
        fast[3] = static_cast<int16_t>(-peak);
        fast[17] = fast.back() = static_cast<int16_t>(std::min(peak, 32767));
        burst_array slow = fast;
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
    for (std::size_t round = 0; round < 64; ++round) {
        baseband_rows rows;
        std::array<int16_t, 8 * baseband_rows::kPlaces> stream;
        for (std::size_t n = 0; n < stream.size(); ++n) {
            // The kind changes within some batches, so that lanes halve at different stages.
            const std::size_t kind = n / 64 * (round % 2) + round / 2;
            stream[n] = static_cast<int16_t>(source.next(kind % 4) >> (round / 4 % 3 * 2));
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
            for (std::size_t k = 0; k < kSubcarriers; ++k) {
                const auto [re, im] = spectra->subcarriers[k][column + hop];
                ASSERT_TRUE(re == expected[2 + k].re && im == expected[2 + k].im) << round;
            }
        }
    }
}

TEST_P(VectorStages, DemodulateAsTheReferenceForm)
{
    edge_source source{2};
    const auto spectra = std::make_unique<spectrum_rows>();
    code_sums<32> short_sums{};
    code_sums<48> long_sums{};
    for (std::size_t round = 0; round < 48; ++round) {
        for (auto &row : spectra->subcarriers)
            for (cplx16 &value : row) value = {source.next(round % 4), source.next(round % 4)};
        // All the same, or with a largest one for each candidate.
        std::array<uint32_t, kSymbolHops> largest;
        for (uint32_t &exponent : largest) exponent = source.below(7);
        for (std::size_t c = 0; c < spectrum_rows::kColumns; ++c)
            spectra->exponents[c] = static_cast<int32_t>(
                round % 3 != 0 ? source.below(largest[c % kSymbolHops] + 1) : round % 7);
        const std::size_t column = source.below(spectrum_rows::kColumns - 270 - kBatch);
        const bool wants_short = round % 5 != 1, wants_long = round % 5 != 2;
        GetParam()->demodulate(*spectra, column, count_of(round),
                               wants_short ? &short_sums : nullptr,
                               wants_long ? &long_sums : nullptr);
        for (std::size_t hop = 0; hop < count_of(round); ++hop) {
            const auto soft = reference::demodulate(candidate_at(*spectra, column + hop));
            EXPECT_TRUE(!wants_short || has_sums(soft, short_sums, hop)) << round;
            EXPECT_TRUE(!wants_long || has_sums(soft, long_sums, hop)) << round;
        }
    }
}

TEST_P(VectorStages, DecodeAsTheReferenceForm)
{
    expect_reference_decisions<32>(*GetParam());
    expect_reference_decisions<48>(*GetParam());
}

INSTANTIATE_TEST_SUITE_P(AllWidths, VectorStages,
                         testing::ValuesIn(available_stages().begin(), available_stages().end()),
                         [](const auto &of) { return "Lanes" + std::string{of.param->name[0]}; });

} // namespace tonelink::test
