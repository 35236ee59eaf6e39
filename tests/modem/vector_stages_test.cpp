// Holds the vector stages, in every width that this processor has, to the plain forms bit for bit.
#include "modem/vector_stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/fixed_fft.h"
#include "modem/interpolator.h"
#include "modem/known_bursts.h"
#include "modem/plain/band_shift.h"
#include "modem/plain/burst_generator.h"
#include "modem/plain/interpolator.h"
#include "modem/plain/stream_receiver.h"
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

/// Values that look for the edges: any, full scale, small, or few of them around a threshold.
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
        default:
            if (any % 128 != 0) return static_cast<int16_t>(any >> 12);
            return static_cast<int16_t>((any < 0 ? -14000 : 14000) + any / 128 % 2);
        }
    }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(random_.next() + 32768) % limit; }

    template <class Row> void fill(Row &row, int kind)
    {
        for (auto &value : row) value = next(kind);
    }

private:
    test::lcg random_;
};
constexpr int kKinds = 4;

constexpr std::size_t kCounts[] = {1, 2, 3, 4, 5, 7, 8, 9, 11, 12, 13, 15, 16};

std::size_t count_of(int round)
{
    return kCounts[static_cast<std::size_t>(round) % std::size(kCounts)];
}

bool same(cplx16 a, cplx16 b) { return a.re == b.re && a.im == b.im; }

/// Shifts a signal in pieces, from a given phase, and holds the outcome to the plain form's.
void expect_plain_shift(const samples &signal, int32_t freq, int32_t phase, int32_t half,
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
    plain::shift_band(by_slow.data(), static_cast<int32_t>(by_slow.size()), slow);
    EXPECT_EQ(by_fast, by_slow) << freq << ", phase " << phase;
    EXPECT_EQ(fast.memory(), slow.memory()) << freq << ", phase " << phase;
}

/// Soft values up to the largest there are, small ones with many ties, or zeros.
template <std::size_t Bits> plain::soft_code<Bits> soft_code_of(edge_source &source, int kind)
{
    plain::soft_channel soft{};
    for (int32_t &value : soft)
        if (kind < 3) value = std::clamp(source.next(kind) * (kind == 2 ? 1 : 16), -500000, 500000);
    return plain::recover_rate<Bits>(soft);
}

/// Those of what enters the encoder, at a level.
template <std::size_t Bits>
plain::soft_code<Bits> soft_code_of(const encoder_input<Bits> &input, int32_t level)
{
    plain::soft_code<Bits> code;
    std::ranges::transform(encode_convolutional<Bits>(input), code.begin(),
                           [=](uint8_t bit) { return bit != 0 ? -level : level; });
    return code;
}

template <std::size_t Bits> void expect_plain_decisions(const vector_stages &stages)
{
    edge_source source{Bits};
    auto message = test::encoder_input_of<Bits>(test::kKnownBursts[Bits == 32 ? 0 : 1].bits);
    for (int round = 0; round < 60; ++round) {
        const int32_t level = round % 2 == 0 ? 1000000 : 1; // the largest, or the smallest
        std::vector<plain::soft_code<Bits>> codes;
        for (std::size_t lane = 0; lane < count_of(round); ++lane)
            codes.push_back(lane % 5 == 3 ? soft_code_of<Bits>(message, level)
                                          : soft_code_of<Bits>(source, round % kKinds));
        EXPECT_TRUE(test::decides_as_plain<Bits>(stages, codes)) << Bits << ", round " << round;
    }
    for (std::size_t i = 0; i < Bits + kCrcBits; ++i) { // by one bit no message
        message[i] ^= 1;
        const std::vector codes = {soft_code_of<Bits>(message, 1)};
        EXPECT_TRUE(test::decides_as_plain<Bits>(stages, codes)) << Bits << ", bit " << i;
        message[i] ^= 1;
    }
}

template <std::size_t Bits>
void expect_sums(const plain::soft_channel &soft, const code_sums<Bits> &sums, std::size_t lane)
{
    const auto expected = std::make_unique<code_sums<Bits>>();
    test::put_sums<Bits>(plain::recover_rate<Bits>(soft), lane, *expected);
    for (std::size_t i = 0; i < std::size(sums.sums); ++i)
        ASSERT_EQ(sums.sums[i][lane], expected->sums[i][lane]) << Bits << ", slot " << i;
}

} // namespace

class VectorStages : public testing::TestWithParam<const vector_stages *> {};

TEST_P(VectorStages, ShiftAsThePlainForm)
{
    samples worst; // signs that follow the taps, so that the sum leaves int32
    for (int i = 0; i < 6000; ++i) worst.push_back(i % 129 < 64 ? int16_t{-32768} : int16_t{32767});
    samples extreme(6000);
    edge_source{3}.fill(extreme, 1);
    for (const int32_t freq : {-1845, 1845, 0, 1, 22050, -44100, 2000000000, INT32_MIN})
        for (const samples &signal : {test::noise(6000, 2), extreme, worst, samples(5000, -32768)})
            expect_plain_shift(signal, freq, 0, freq > 0, *GetParam());
    // The modem's own oscillator, read from any phase.
    std::vector<int32_t> phases = {4091, 4092, 4093, 4094, 4095};
    for (int32_t phase = 0; phase < 4091; phase += 37) phases.push_back(phase);
    for (const int32_t phase : phases)
        for (const int32_t half : {0, 1})
            expect_plain_shift(samples(100, -32768), kBandShiftHz, phase, half, *GetParam());
}

TEST_P(VectorStages, TransformSymbolsAsThePlainForm)
{
    // Of full scale, where every stage halves, and small ones, where few do.
    edge_source source{31};
    for (int round = 0; round < 40; ++round) {
        const int kind = round % kKinds;
        symbol_rows rows;
        for (auto &row : rows.bins) {
            for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
                const int shift = (round / kKinds + static_cast<int>(symbol)) % 16;
                row[symbol].re = static_cast<int16_t>(source.next(kind) >> shift);
                row[symbol].im = static_cast<int16_t>(source.next(kind) >> shift);
            }
        }
        body_rows bodies;
        GetParam()->transform_symbols(rows, bodies);
        for (std::size_t symbol = 0; symbol < kSymbols; ++symbol) {
            symbol_spectrum spectrum{};
            for (std::size_t k = 0; k < kSubcarriers; ++k)
                spectrum[kFirstSubcarrier + k] = rows.bins[k][symbol];
            symbol_body body;
            inverse_symbol_transform(spectrum, body);
            for (std::size_t n = 0; n < kBodySamples; ++n)
                ASSERT_EQ(bodies.samples[n][symbol], body[n])
                    << "round " << round << ", symbol " << symbol;
        }
    }
}

TEST_P(VectorStages, InterpolateAsThePlainForm)
{
    edge_source source{21};
    for (int round = 0; round < 8; ++round) {
        frame_samples frame;
        source.fill(frame, round % kKinds);
        if (round == 0) frame.fill(-32768);
        burst_array fast, slow;
        interpolate_by_10(frame, fast, *GetParam());
        plain::interpolate_by_10(frame, slow);
        EXPECT_TRUE(fast == slow) << round;
    }
}

TEST_P(VectorStages, NormaliseAsThePlainForm)
{
    edge_source source{41};
    for (int32_t peak = 32768; peak > 0; peak = peak * 9 / 10) {
        burst_array fast;
        for (int16_t &sample : fast)
            sample = static_cast<int16_t>(source.next(0) * int64_t{peak} / 32768);
        fast[3] = static_cast<int16_t>(-peak);
        fast[17] = fast.back() = static_cast<int16_t>(std::min(peak, 32767));
        burst_array slow = fast;
        normalise_peak(fast, *GetParam());
        plain::normalise_peak(slow);
        EXPECT_TRUE(fast == slow) << peak;
    }
}

TEST_P(VectorStages, MakeBurstsAsThePlainForm)
{
    edge_source source{40};
    open_shifter fast_shifter{-kBandShiftHz}, slow_shifter{-kBandShiftHz};
    for (int round = 0; round < 30; ++round) {
        std::vector<uint8_t> message(round % 2 == 0 ? 32 : 48);
        for (uint8_t &bit : message) bit = source.below(2) != 0;
        burst_array fast, slow;
        make_burst(message, round % 3 != 0, fast_shifter, fast, *GetParam());
        plain::make_burst(message, round % 3 != 0, slow_shifter, slow);
        ASSERT_TRUE(fast == slow) << round;
    }
}

TEST_P(VectorStages, TransformHopsAsThePlainForm)
{
    edge_source source{1};
    const auto spectra = std::make_unique<spectrum_rows>();
    for (int round = 0; round < 60; ++round) {
        baseband_rows rows;
        std::array<int16_t, 8 * baseband_rows::kPlaces> stream;
        for (std::size_t n = 0; n < stream.size(); ++n) {
            // The kind changes within some batches, so that lanes halve at different stages.
            const int kind = (static_cast<int>(n / 64) * (round % 2) + round / 2) % kKinds;
            stream[n] = static_cast<int16_t>(source.next(kind) >> (round / kKinds % 3 * 2));
            cplx16 &pair = rows.pairs[n / 2 % 4][n / 8];
            (n % 2 == 0 ? pair.re : pair.im) = stream[n];
        }
        const std::size_t count = count_of(round);
        const std::size_t column = source.below(spectrum_rows::kColumns - kBatch);
        GetParam()->transform_hops(rows, count, *spectra, column);
        for (std::size_t hop = 0; hop < count; ++hop) {
            symbol_spectrum expected;
            const int32_t exponent = forward_symbol_transform(
                std::span{stream}.subspan(8 * hop).first<kBodySamples>(), expected);
            ASSERT_EQ(spectra->exponents[column + hop], exponent) << round << ", hop " << hop;
            for (std::size_t k = 0; k < kSubcarriers; ++k)
                ASSERT_TRUE(same(spectra->bins[k][column + hop], expected[kFirstSubcarrier + k]))
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
        const std::size_t count = count_of(round);
        const std::size_t column = source.below(spectrum_rows::kColumns - 270 - kBatch);
        GetParam()->demodulate(*spectra, column, count, round % 5 != 1 ? short_sums.get() : nullptr,
                               round % 5 != 2 ? long_sums.get() : nullptr);
        for (std::size_t hop = 0; hop < count; ++hop) {
            plain::candidate burst;
            for (std::size_t s = 0; s < kSymbols; ++s) {
                const std::size_t from = column + hop + kSymbolHops * s;
                for (std::size_t k = 0; k < kSubcarriers; ++k)
                    burst.bins[kSubcarriers * s + k] = spectra->bins[k][from];
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
    expect_plain_decisions<32>(*GetParam());
    expect_plain_decisions<48>(*GetParam());
}

TEST_P(VectorStages, ReceiveAsThePlainForm)
{
    const auto &bursts = test::kKnownBursts;
    const test::scene mixed = {
        80000,
        {{bursts[0].bits, 1000, 2}, {bursts[1].bits, 26000, 40}, {bursts[3].bits, 52000}},
        {{17, 400}}};
    const samples loud = test::noise(40000, 73);
    edge_source source{3};
    std::vector<std::size_t> random_sizes;
    for (int i = 0; i < 200; ++i) random_sizes.push_back(1 + source.below(3000));
    for (const samples &signal : {loud, mixed.samples()}) {
        const auto plain = std::make_unique<plain::stream_receiver>();
        const auto expected = hear(*plain, signal, {signal.size()}, message_lengths::both);
        EXPECT_EQ(expected.heard.empty(), signal == loud);
        for (const auto &sizes :
             {std::vector<std::size_t>{signal.size()}, {80}, {441}, {1, 2, 9}, random_sizes}) {
            const auto fast = std::make_unique<stream_receiver>(*GetParam());
            const auto actual = hear(*fast, signal, sizes, message_lengths::both);
            EXPECT_EQ(actual.heard, expected.heard) << sizes[0];
            EXPECT_EQ(actual.stream, expected.stream) << sizes[0];
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
