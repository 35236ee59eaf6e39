// The candidates that a batch of hops completes, demodulated side by side. A symbol is 18 columns
// from the one before, so that every load is one of neighbours. Symbols go through one after the
// other, each a step behind the pilots of the next, so that what is in work stays in the cache.
#pragma once

#include "modem/code_tables.h"
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

/// What each symbol, from 0 on, carries where. As tables, since no function of another file may be
/// called.
struct symbol_layout {
    std::size_t first_pilot[kSymbols]; // row of the first pilot, 0 or 1; that of data is the other
    std::size_t first_bit[kSymbols + 1];
};
inline constexpr symbol_layout kLayout = [] {
    symbol_layout layout{};
    for (std::size_t s = 0; s < kSymbols; ++s)
        layout.first_pilot[s] = is_pilot(s + 1, kFirstSubcarrier) ? 0 : 1;
    for (std::size_t s = 0; s <= kSymbols; ++s) layout.first_bit[s] = first_bit_of(s + 1);
    return layout;
}();

/// Halves of all lanes of a batch for a bin, and for each pilot, or each data bin, of a symbol.
typedef halves batch_halves[kVectors];
typedef batch_halves bin_row[kPilots];

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
    // Pilots descrambled: entry d is the one below data bin d, entry d + 1 the one above. The
    // symbols whose data begin and end the band have none there: zeros.
    batch_halves pilots[kPilots + 1];
    bin_row halved; // pilots halved towards zero
    bin_row data;   // descrambled
};

/// The candidates of a batch on their way.
struct batch_work {
    symbol_work symbols[3]; // symbol s in entry s % 3
    bin_row nothing;        // zeros
    alignment alignments[kSymbols][kVectors];
    lane_shifts soft_shifts[kVectors]; // 15 less twice the exponent, which leaves a soft value
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
        work.soft_shifts[v] = prepare_shifts(15 - 2 * largest);
    }
}

/// Aligns and descrambles a bin of a symbol in `Vectors` vectors of hops.
template <std::size_t Vectors, class Use>
TONELINK_INLINE void descramble(const cplx16 *bins, const descrambling_factors &factors,
                                const alignment *alignments, Use use)
{
    const halves for_real = splat_pair(factors.for_real);
    const halves for_imaginary = splat_pair(factors.for_imaginary);
    // The rows are a cache line or two each, and the next symbol's follow in the same order.
    for (std::size_t v = 0; v < Vectors; ++v) {
        const halves aligned = align(load<halves>(bins + v * kLanes), alignments[v]);
        use(v, multiply(aligned, for_real, for_imaginary));
    }
}

/// Descrambles a symbol, and prepares what its pilots are good for.
template <std::size_t Vectors>
void take_symbol(const spectrum_rows &spectra, std::size_t column, std::size_t s, batch_work &work)
{
    symbol_work &symbol = work.symbols[s % 3];
    const descrambling_factors *const factors =
        &kDescrambling.of[kSubcarriers * (s % kScramblingSymbols)];
    const std::size_t from = column + kSymbolHops * s;
    const std::size_t first_pilot = kLayout.first_pilot[s];
    batch_halves *const pilots = symbol.pilots + first_pilot;
    std::size_t k = first_pilot;
    for (std::size_t i = 0; k < kSubcarriers; ++i, k += 2) {
        descramble<Vectors>(&spectra.bins[k][from], factors[k], work.alignments[s],
                            [&](std::size_t v, halves pilot) {
                                pilots[i][v] = pilot;
                                symbol.halved[i][v] = halve_to_zero(pilot);
                            });
    }
    k = 1 - first_pilot;
    for (std::size_t i = 0; k < kSubcarriers; ++i, k += 2)
        descramble<Vectors>(&spectra.bins[k][from], factors[k], work.alignments[s],
                            [&](std::size_t v, halves data) { symbol.data[i][v] = data; });
    if (first_pilot == 0) return;
    for (std::size_t v = 0; v < Vectors; ++v)
        symbol.pilots[0][v] = symbol.pilots[kPilots][v] = halves{};
}

/// The pilots whose sum is what the grid has at a symbol's data bins: the halved ones of the
/// symbols before and after, or for the first and the last symbol those of its only neighbour.
struct pilots_around {
    const batch_halves *one;
    const batch_halves *other;
};

TONELINK_INLINE pilots_around find_pilots(const batch_work &work, std::size_t s)
{
    const symbol_work &before = work.symbols[(s + 2) % 3];
    const symbol_work &after = work.symbols[(s + 1) % 3];
    if (s == 0) return {after.pilots + kLayout.first_pilot[s + 1], work.nothing};
    if (s == kSymbols - 1) return {before.pilots + kLayout.first_pilot[s - 1], work.nothing};
    return {before.halved, after.halved};
}

/// Where soft values go: a row of sums for each, of one length or of two.
struct target {
    int32_t (*sums)[kBatch];
    const uint8_t *slots;
};

/// Gives the soft values of a symbol, whose neighbours have been taken, to the sums.
template <std::size_t Vectors, std::size_t Targets>
void give_symbol(const batch_work &work, std::size_t s, const target *targets)
{
    const symbol_work &symbol = work.symbols[s % 3];
    const pilots_around around = find_pilots(work, s);
    const std::size_t bits = kLayout.first_bit[s + 1] - kLayout.first_bit[s];
    const halves weight = splat_pair(pair{kNeighbourQ16, kNeighbourQ16});
    halves below[Vectors];
    for (std::size_t v = 0; v < Vectors; ++v) below[v] = multiply_high(symbol.pilots[0][v], weight);
    for (std::size_t d = 0; d < bits; ++d) {
        int32_t *rows[Targets];
        for (std::size_t t = 0; t < Targets; ++t)
            rows[t] = targets[t].sums[targets[t].slots[kLayout.first_bit[s] + d]];
        for (std::size_t v = 0; v < Vectors; ++v) {
            const halves above = multiply_high(symbol.pilots[d + 1][v], weight);
            halves channel = add(around.one[d][v], around.other[d][v]) >> 2;
            channel = add(channel, add(below[v], above));
            below[v] = above;
            const words product = multiply_add(symbol.data[d][v], channel);
            const words soft = shift_right_each(product, work.soft_shifts[v]);
            const words limited = limit<kSoftLimit>(soft);
            for (std::size_t t = 0; t < Targets; ++t)
                store(rows[t] + v * kLanes, load(rows[t] + v * kLanes) - limited);
        }
    }
}

template <std::size_t Vectors, std::size_t Targets>
void demodulate_batch(const spectrum_rows &spectra, std::size_t column, const target *targets)
{
    batch_work work;
    std::memset(work.nothing, 0, sizeof work.nothing);
    find_alignments(spectra, column, Vectors, work);
    take_symbol<Vectors>(spectra, column, 0, work);
    for (std::size_t s = 0; s < kSymbols; ++s) {
        if (s + 1 < kSymbols) take_symbol<Vectors>(spectra, column, s + 1, work);
        give_symbol<Vectors, Targets>(work, s, targets);
    }
}

template <std::size_t Targets>
void demodulate_hops(const spectrum_rows &spectra, std::size_t column, std::size_t count,
                     const target *targets)
{
    if (count <= kLanes) return demodulate_batch<1, Targets>(spectra, column, targets);
    if (count <= 2 * kLanes) return demodulate_batch<2, Targets>(spectra, column, targets);
    demodulate_batch<kVectors, Targets>(spectra, column, targets);
}

} // namespace demodulation

inline void demodulate(const spectrum_rows &spectra, std::size_t column, std::size_t count,
                       code_sums<32> *short_sums, code_sums<48> *long_sums)
{
    using namespace demodulation;
    target targets[2];
    std::size_t wanted = 0;
    if (short_sums != nullptr) {
        std::memset(short_sums, 0, sizeof *short_sums);
        targets[wanted++] = {short_sums->sums, kSoftSlots32.of};
    }
    if (long_sums != nullptr) {
        std::memset(long_sums, 0, sizeof *long_sums);
        targets[wanted++] = {long_sums->sums, kSoftSlots48.of};
    }
    if (wanted == 2)
        demodulate_hops<2>(spectra, column, count, targets);
    else if (wanted == 1)
        demodulate_hops<1>(spectra, column, count, targets);
}

} // namespace tonelink::TONELINK_SIMD
