// The candidates that a batch of hops completes, demodulated side by side. A symbol is 18 columns
// from the one before, so that every load is one of neighbours. Symbols go through one after the
// other, each a step behind the pilots of the next, so that what is in work stays in the cache.
#pragma once

#include "modem/code_tables.h"
#include "modem/modulator.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace demodulation {

inline constexpr std::size_t kVectors = kBatch / kLanes;
inline constexpr std::size_t kPilots = 31; // of a symbol, or 30; and as many data bins
inline constexpr int32_t kSoftLimit = 500000;

// The weights of the channel estimate: a quarter, which is a shift, and one that is a product's
// upper half.
static_assert(coef_equ_freq == std::array<int16_t, 2>{1 << 13, 1638});
inline constexpr int16_t kNeighbourQ16 = 2 * 1638;

/// Pilots are at even sums of symbol and bin offset.
constexpr std::size_t first_pilot(std::size_t s) { return s % 2; }
constexpr std::size_t first_data(std::size_t s) { return 1 - s % 2; }

/// Halves of all lanes of a batch for each pilot, or each data bin, of a symbol.
typedef halves bin_row[kPilots][kVectors];

/// How each lane of a symbol comes to the largest exponent of the lane's burst.
struct alignment {
    halves multiplier; // 2^(16 - shift), which is 0 for a shift of 0
    halves kept;       // mask: the shift is 0 or 1
};

/// Arithmetic shift to the right by each lane's own count: the upper half of the product with the
/// multiplier. For shifts of 0 and 1 that multiplier is 2^16 or 2^15, and 2^16 less than that fits
/// into 16 bits: what this takes off the product's upper half is added again.
TONELINK_INLINE halves align(halves x, const alignment &by)
{
    return add(multiply_high(x, by.multiplier), x & by.kept);
}

TONELINK_INLINE alignment alignment_of(words shift)
{
    words power = splat(0x10000);
    power = select((words)((shift & 1) != 0), power >> 1, power);
    power = select((words)((shift & 2) != 0), power >> 2, power);
    power = select((words)((shift & 4) != 0), power >> 4, power);
    return {(halves)((power & 0xFFFF) | shift_left(power, 16)), (halves)(words)(shift <= 1)};
}

/// The value halved towards zero, in each half.
TONELINK_INLINE halves halve_to_zero(halves x) { return subtract(x, x >> 15) >> 1; }

/// What is kept of a symbol until its neighbours have used it.
struct symbol_work {
    bin_row pilots;    // descrambled
    bin_row halved;    // halved towards zero
    bin_row neighbour; // weighted as neighbours of data bins
    bin_row data;      // descrambled
};

/// The candidates of a batch on their way.
struct batch_work {
    symbol_work symbols[3]; // symbol s in entry s % 3
    alignment alignments[kSymbols][kVectors];
    words soft_shift[kVectors]; // 15 less twice the exponent, which leaves a soft value of it
};

inline void find_alignments(const spectrum_rows &spectra, std::size_t column, std::size_t vectors,
                            batch_work &work)
{
    for (std::size_t v = 0; v < vectors; ++v) {
        const int32_t *const exponents = &spectra.exponents[column + v * kLanes];
        words largest{};
        for (std::size_t s = 0; s < kSymbols; ++s)
            largest = maximum(largest, load(exponents + kSymbolHops * s));
        for (std::size_t s = 0; s < kSymbols; ++s)
            work.alignments[s][v] = alignment_of(largest - load(exponents + kSymbolHops * s));
        work.soft_shift[v] = 15 - 2 * largest;
    }
}

/// Aligns and descrambles a symbol, and prepares what its pilots are good for.
inline void take_symbol(const spectrum_rows &spectra, std::size_t column, std::size_t s,
                        std::size_t vectors, batch_work &work)
{
    symbol_work &symbol = work.symbols[s % 3];
    const descrambling_factors *const factors =
        &kDescrambling.of[kUsedBins * (s % kScramblingSymbols)];
    const auto descramble = [&](std::size_t k, auto use) {
        const halves for_real = splat_pair(factors[k].for_real);
        const halves for_imaginary = splat_pair(factors[k].for_imaginary);
        const cplx16 *const bins = &spectra.bins[k][column + kSymbolHops * s];
        for (std::size_t v = 0; v < vectors; ++v) {
            const halves x = align(load<halves>(bins + v * kLanes), work.alignments[s][v]);
            use(v, multiply(x, for_real, for_imaginary));
        }
    };
    const halves weight = splat_pair(pair{kNeighbourQ16, kNeighbourQ16});
    for (std::size_t k = first_pilot(s); k < kUsedBins; k += 2) {
        descramble(k, [&](std::size_t v, halves pilot) {
            symbol.pilots[k / 2][v] = pilot;
            symbol.halved[k / 2][v] = halve_to_zero(pilot);
            symbol.neighbour[k / 2][v] = multiply_high(pilot, weight);
        });
    }
    for (std::size_t k = first_data(s); k < kUsedBins; k += 2)
        descramble(k, [&](std::size_t v, halves data) { symbol.data[k / 2][v] = data; });
}

/// What the pilots of the symbols before and after say about a bin of data. The first and the last
/// symbol have one neighbour alone.
TONELINK_INLINE halves pilots_around(const batch_work &work, std::size_t s, std::size_t k,
                                     std::size_t v)
{
    const symbol_work &before = work.symbols[(s + 2) % 3];
    const symbol_work &after = work.symbols[(s + 1) % 3];
    if (s == 0) return after.pilots[k / 2][v];
    if (s == kSymbols - 1) return before.pilots[k / 2][v];
    return add(before.halved[k / 2][v], after.halved[k / 2][v]);
}

/// The soft value of a bin of data.
TONELINK_INLINE words soft_value(const batch_work &work, std::size_t s, std::size_t k,
                                 std::size_t v)
{
    const symbol_work &symbol = work.symbols[s % 3];
    halves channel = pilots_around(work, s, k, v) >> 2;
    if (k > 0) channel = add(channel, symbol.neighbour[(k - 1) / 2][v]);
    if (k + 1 < kUsedBins) channel = add(channel, symbol.neighbour[(k + 1) / 2][v]);
    const words product = multiply_add(symbol.data[k / 2][v], channel);
    const words soft = -shift_right_each(product, work.soft_shift[v]);
    return minimum(maximum(soft, splat(-kSoftLimit)), splat(kSoftLimit));
}

/// Adds to a row of sums.
TONELINK_INLINE void accumulate(int32_t *row, std::size_t v, words soft)
{
    int32_t *const at = row + v * kLanes;
    store(at, load(at) + soft);
}

/// Gives the soft values of a symbol, whose neighbours have been taken, to the sums.
inline void give_symbol(const batch_work &work, std::size_t s, std::size_t vectors,
                        code_sums<32> *short_sums, code_sums<48> *long_sums)
{
    std::size_t bit = first_bit_of(s);
    for (std::size_t k = first_data(s); k < kUsedBins; k += 2, ++bit) {
        for (std::size_t v = 0; v < vectors; ++v) {
            const words soft = soft_value(work, s, k, v);
            if (short_sums != nullptr) accumulate(short_sums->sums[kSoftSlots32.of[bit]], v, soft);
            if (long_sums != nullptr) accumulate(long_sums->sums[kSoftSlots48.of[bit]], v, soft);
        }
    }
}

} // namespace demodulation

inline void demodulate(const spectrum_rows &spectra, std::size_t column, std::size_t count,
                       code_sums<32> *short_sums, code_sums<48> *long_sums)
{
    using namespace demodulation;
    const std::size_t vectors = (count + kLanes - 1) / kLanes;
    if (short_sums != nullptr) std::memset(short_sums, 0, sizeof *short_sums);
    if (long_sums != nullptr) std::memset(long_sums, 0, sizeof *long_sums);

    batch_work work;
    find_alignments(spectra, column, vectors, work);
    take_symbol(spectra, column, 0, vectors, work);
    for (std::size_t s = 0; s < kSymbols; ++s) {
        if (s + 1 < kSymbols) take_symbol(spectra, column, s + 1, vectors, work);
        give_symbol(work, s, vectors, short_sums, long_sums);
    }
}

} // namespace tonelink::TONELINK_SIMD
