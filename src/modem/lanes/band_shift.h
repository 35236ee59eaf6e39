// The Hilbert transformer, two outputs at a time side by side: with samples split by parity, an
// even output's odd taps meet the odd samples in pairs, and an odd output's the even samples.
#pragma once

#include "modem/band_shift.h"
#include "modem/filter_taps.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace band_shift {

inline constexpr std::size_t kVectors = 4; // of pairs of outputs, taken at a time
inline constexpr std::size_t kBlockPairs = kVectors * kLanes;
static_assert(kShiftBlock % (2 * kBlockPairs) == 0 && 2 * kBlockPairs <= kShiftSlack);

/// Two taps of one parity, taps 2 at + parity and two further.
struct tap_pair {
    pair taps;
    uint16_t at;
};

template <std::size_t Count> struct tap_list {
    tap_pair pairs[Count];
};

/// How many pairs hold all taps of a parity that are not zero.
constexpr std::size_t count_pairs(std::size_t parity)
{
    std::size_t count = 0;
    for (std::size_t t = parity; t < coef_ht.size(); t += 2) {
        if (coef_ht[t] == 0) continue;
        ++count;
        t += 2;
    }
    return count;
}

template <std::size_t Parity> constexpr auto make_pairs()
{
    tap_list<count_pairs(Parity)> list{};
    std::size_t n = 0;
    for (std::size_t t = Parity; t < coef_ht.size(); t += 2) {
        if (coef_ht[t] == 0) continue;
        const int16_t second = t + 2 < coef_ht.size() ? coef_ht[t + 2] : int16_t{0};
        list.pairs[n++] = {{coef_ht[t], second}, static_cast<uint16_t>(t / 2)};
        t += 2;
    }
    return list;
}

inline constexpr auto kEvenTaps = make_pairs<0>();
inline constexpr auto kOddTaps = make_pairs<1>();

/// The samples of a block in pairs of one parity: entry n is samples 2n and 2n + 2, or 2n + 1 and
/// 2n + 3. Where a line of the cache begins, so that most reads lie in one.
struct parity_pairs {
    alignas(64) int32_t even[(kShiftBlock + kHilbertTaps) / 2 + kLanes];
    alignas(64) int32_t odd[(kShiftBlock + kHilbertTaps) / 2 + kLanes];
};

inline void split_parities(const int16_t *input, std::size_t pairs, parity_pairs &split)
{
    for (std::size_t n = 0; n < pairs; n += kLanes) {
        const words here = (words)load<halves>(input + 2 * n);
        const words next = (words)load<halves>(input + 2 * n + 2);
        store(&split.even[n], combine_halves(here, shift_left(next, 16)));
        store(&split.odd[n], combine_halves((words)((unsigned_words)here >> 16), next));
    }
}

/// What a row of outputs in pairs adds up to.
struct output_sums {
    words even[kVectors];
    words odd[kVectors];
};

/// Adds a pair of taps to all sums. They may leave 32 bits, and wrap.
TONELINK_INLINE void add_taps(const tap_pair &taps, const int32_t *for_even, const int32_t *for_odd,
                              output_sums &sums)
{
    const halves factors = splat_pair(taps.taps);
    for (std::size_t v = 0; v < kVectors; ++v) {
        const std::size_t at = taps.at + v * kLanes;
        sums.even[v] = add(sums.even[v], multiply_add(load<halves>(for_even + at), factors));
        sums.odd[v] = add(sums.odd[v], multiply_add(load<halves>(for_odd + at), factors));
    }
}

/// Bits 15 to 30 of each half's product.
TONELINK_INLINE halves multiply_q15(halves a, halves b)
{
    const auto lower = (unsigned_halves)a * (unsigned_halves)b;
    return (halves)((unsigned_halves)shift_left(multiply_high(a, b), 1) | lower >> 15);
}

/// The delayed samples times the cosine. A cosine of 32768 is stored as -32768, which it differs
/// from by 65536 and so, shifted, by twice the sample; its sine is negative, while that of -32768
/// is not.
TONELINK_INLINE halves turn_delayed(halves delayed, halves cosines, halves sines)
{
    const halves one = (halves)(cosines == -32768) & (halves)(sines < 0);
    return add(multiply_q15(delayed, cosines), shift_left(delayed, 1) & one);
}

} // namespace band_shift

inline void shift_samples(const int16_t *input, std::size_t count, const int16_t *cosines,
                          const int16_t *sines, bool down, int16_t *output)
{
    using namespace band_shift;
    const std::size_t blocks = (count + 2 * kBlockPairs - 1) / (2 * kBlockPairs);
    parity_pairs split;
    split_parities(input, blocks * kBlockPairs + kHilbertTaps / 2, split);
    const halves reverse =
        splat_pair(pair{static_cast<int16_t>(-down), static_cast<int16_t>(-down)});
    for (std::size_t n = 0; n < blocks * kBlockPairs; n += kBlockPairs) {
        output_sums sums{};
        for (const tap_pair &taps : kOddTaps.pairs)
            add_taps(taps, split.odd + n, split.even + n + 1, sums);
        for (const tap_pair &taps : kEvenTaps.pairs)
            add_taps(taps, split.even + n, split.odd + n, sums);
        for (std::size_t v = 0; v < kVectors; ++v) {
            const std::size_t i = 2 * (n + v * kLanes);
            const halves cosine = load<halves>(cosines + i);
            const halves sine = load<halves>(sines + i);
            const halves a = turn_delayed(load<halves>(input + i + kHilbertDelay), cosine, sine);
            const halves b = multiply_q15(q15_halves(sums.even[v], sums.odd[v]), sine);
            // Both are rounded down before they are added or, for a shift down, subtracted.
            store(output + i, add(a, subtract(b ^ reverse, reverse)));
        }
    }
}

} // namespace tonelink::TONELINK_SIMD
