// The vector operations that the modem's fast stages are written in. A vector is a row of 32-bit
// lanes, and a lane holds either a word or two halves: a complex number, real part low, or a pair
// of samples, the earlier one low.
//
// Most operations are the compilers' own vector arithmetic, which every target has; only what it
// cannot say has an instruction per target here, beside a portable form. A file that is compiled
// for wider vectors defines TONELINK_LANES before it includes this, and everything here then lies
// in a namespace of that width: no function compiled for one processor can stand in for another's.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#ifndef TONELINK_LANES
#define TONELINK_LANES 4
#endif

#if TONELINK_LANES == 8
#include <immintrin.h>
#define TONELINK_SIMD lanes8
#elif defined(__SSE2__)
#include <emmintrin.h>
#define TONELINK_SIMD lanes4
#else
#if defined(__ARM_NEON)
#include <arm_neon.h>
#elif defined(__wasm_simd128__)
#include <wasm_simd128.h>
#endif
#define TONELINK_SIMD lanes4
#endif

#define TONELINK_INLINE [[gnu::always_inline]] inline

namespace tonelink::TONELINK_SIMD {

inline constexpr std::size_t kLanes = TONELINK_LANES;

typedef int32_t words __attribute__((vector_size(4 * TONELINK_LANES)));
typedef int16_t halves __attribute__((vector_size(4 * TONELINK_LANES)));
typedef uint32_t unsigned_words __attribute__((vector_size(4 * TONELINK_LANES)));
typedef uint16_t unsigned_halves __attribute__((vector_size(4 * TONELINK_LANES)));

// ---- Memory and constants ----

/// Halves as they lie in memory, with the earlier one low, and back: on a big-endian machine they
/// change places.
template <class Vector> TONELINK_INLINE Vector ordered(Vector v)
{
    if constexpr (std::endian::native == std::endian::big && std::is_same_v<Vector, halves>)
        return (halves)((unsigned_words)v << 16 | (unsigned_words)v >> 16);
    else
        return v;
}

/// kLanes lanes of words, or of halves, from `from` on, which need not be aligned.
template <class Vector = words> TONELINK_INLINE Vector load(const void *from)
{
    Vector v;
    std::memcpy(&v, from, sizeof v);
    return ordered(v);
}

template <class Vector> TONELINK_INLINE void store(void *to, Vector v)
{
    v = ordered(v);
    // The C library's own may ask at run time for the room that is known here.
    __builtin_memcpy(to, &v, sizeof v);
}

/// The same word in every lane.
TONELINK_INLINE words splat(int32_t value) { return value - words{}; }

/// Two halves of a lane.
struct pair {
    int16_t low;
    int16_t high;
};

/// The same two halves in every lane, from a pair or a complex number.
template <class Pair>
requires(sizeof(Pair) == sizeof(int32_t)) TONELINK_INLINE halves splat_pair(Pair p)
{
    return ordered((halves)splat(__builtin_bit_cast(int32_t, p)));
}

// ---- Arithmetic that wraps ----

TONELINK_INLINE words add(words a, words b)
{
    return (words)((unsigned_words)a + (unsigned_words)b);
}
TONELINK_INLINE halves add(halves a, halves b)
{
    return (halves)((unsigned_halves)a + (unsigned_halves)b);
}
TONELINK_INLINE words subtract(words a, words b)
{
    return (words)((unsigned_words)a - (unsigned_words)b);
}
TONELINK_INLINE halves subtract(halves a, halves b)
{
    return (halves)((unsigned_halves)a - (unsigned_halves)b);
}
TONELINK_INLINE words shift_left(words a, int count)
{
    return (words)((unsigned_words)a << static_cast<uint32_t>(count));
}
TONELINK_INLINE halves shift_left(halves a, int count)
{
    return (halves)((unsigned_halves)a << static_cast<uint16_t>(count));
}

// ---- Masks: -1 or 0 in each lane, or in each half ----

/// `a` where the mask is set, else `b`.
template <class Vector> TONELINK_INLINE Vector select(Vector mask, Vector a, Vector b)
{
    return (mask & a) | (~mask & b);
}

/// The lanes in which a half is not 0.
TONELINK_INLINE words either_half(halves a) { return (words)a != 0; }

// ---- What needs an instruction of the target's ----

/// The low half from the low half of `low`, the high half from the high half of `high`.
TONELINK_INLINE halves combine_halves(words low, words high)
{
#if TONELINK_LANES == 8
    return (halves)_mm256_blend_epi16((__m256i)low, (__m256i)high, 0xAA);
#else
    return (halves)((low & 0xFFFF) | (high & ~0xFFFF));
#endif
}

/// The sum of the products of both halves. Not for two pairs of -32768.
TONELINK_INLINE words multiply_add(halves a, halves b)
{
#if TONELINK_LANES == 8
    return (words)_mm256_madd_epi16((__m256i)a, (__m256i)b);
#elif defined(__SSE2__)
    return (words)_mm_madd_epi16((__m128i)a, (__m128i)b);
#elif defined(__ARM_NEON)
    const int32x4_t first = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
    const int32x4_t second = vmull_s16(vget_high_s16((int16x8_t)a), vget_high_s16((int16x8_t)b));
    return (words)vcombine_s32(vpadd_s32(vget_low_s32(first), vget_high_s32(first)),
                               vpadd_s32(vget_low_s32(second), vget_high_s32(second)));
#elif defined(__wasm_simd128__)
    return (words)wasm_i32x4_dot_i16x8((v128_t)a, (v128_t)b);
#else
    const words a_low = shift_left((words)a, 16) >> 16;
    const words b_low = shift_left((words)b, 16) >> 16;
    return a_low * b_low + ((words)a >> 16) * ((words)b >> 16);
#endif
}

/// The upper 16 bits of each half's product.
TONELINK_INLINE halves multiply_high(halves a, halves b)
{
#if TONELINK_LANES == 8
    return (halves)_mm256_mulhi_epi16((__m256i)a, (__m256i)b);
#elif defined(__SSE2__)
    return (halves)_mm_mulhi_epi16((__m128i)a, (__m128i)b);
#elif defined(__ARM_NEON)
    const int32x4_t first = vmull_s16(vget_low_s16((int16x8_t)a), vget_low_s16((int16x8_t)b));
    const int32x4_t second = vmull_s16(vget_high_s16((int16x8_t)a), vget_high_s16((int16x8_t)b));
    return (halves)vcombine_s16(vshrn_n_s32(first, 16), vshrn_n_s32(second, 16));
#elif defined(__wasm_simd128__)
    return (halves)wasm_i16x8_shuffle(wasm_i32x4_extmul_low_i16x8((v128_t)a, (v128_t)b),
                                      wasm_i32x4_extmul_high_i16x8((v128_t)a, (v128_t)b), 1, 3, 5,
                                      7, 9, 11, 13, 15);
#else
    const words low = (shift_left((words)a, 16) >> 16) * (shift_left((words)b, 16) >> 16);
    return combine_halves((words)((unsigned_words)low >> 16), ((words)a >> 16) * ((words)b >> 16));
#endif
}

TONELINK_INLINE words maximum(words a, words b)
{
#if TONELINK_LANES == 8
    return (words)_mm256_max_epi32((__m256i)a, (__m256i)b);
#elif defined(__ARM_NEON)
    return (words)vmaxq_s32((int32x4_t)a, (int32x4_t)b);
#elif defined(__wasm_simd128__)
    return (words)wasm_i32x4_max((v128_t)a, (v128_t)b);
#else
    return select((words)(a > b), a, b);
#endif
}

/// The larger of words from kLowestFloatBits to kHighestFloatBits: those of positive floats of full
/// precision, which compare as their bits do. SSE2 has a maximum for floats alone.
inline constexpr int32_t kLowestFloatBits = 0x00800000;
inline constexpr int32_t kHighestFloatBits = 0x7F7FFFFF;
TONELINK_INLINE words maximum_as_floats(words a, words b)
{
#if TONELINK_LANES == 4 && defined(__SSE2__)
    return (words)_mm_max_ps((__m128)a, (__m128)b);
#else
    return maximum(a, b);
#endif
}

TONELINK_INLINE halves maximum(halves a, halves b)
{
#if TONELINK_LANES == 8
    return (halves)_mm256_max_epi16((__m256i)a, (__m256i)b);
#elif defined(__SSE2__)
    return (halves)_mm_max_epi16((__m128i)a, (__m128i)b);
#elif defined(__ARM_NEON)
    return (halves)vmaxq_s16((int16x8_t)a, (int16x8_t)b);
#elif defined(__wasm_simd128__)
    return (halves)wasm_i16x8_max((v128_t)a, (v128_t)b);
#else
    return select((halves)(a > b), a, b);
#endif
}
TONELINK_INLINE words minimum(words a, words b)
{
#if TONELINK_LANES == 8
    return (words)_mm256_min_epi32((__m256i)a, (__m256i)b);
#elif defined(__ARM_NEON)
    return (words)vminq_s32((int32x4_t)a, (int32x4_t)b);
#elif defined(__wasm_simd128__)
    return (words)wasm_i32x4_min((v128_t)a, (v128_t)b);
#else
    return select((words)(a < b), a, b);
#endif
}
TONELINK_INLINE halves minimum(halves a, halves b)
{
#if TONELINK_LANES == 8
    return (halves)_mm256_min_epi16((__m256i)a, (__m256i)b);
#elif defined(__SSE2__)
    return (halves)_mm_min_epi16((__m128i)a, (__m128i)b);
#elif defined(__ARM_NEON)
    return (halves)vminq_s16((int16x8_t)a, (int16x8_t)b);
#elif defined(__wasm_simd128__)
    return (halves)wasm_i16x8_min((v128_t)a, (v128_t)b);
#else
    return select((halves)(a < b), a, b);
#endif
}

/// Whether the mask is set in some lane.
TONELINK_INLINE bool any_lane(words mask)
{
#if TONELINK_LANES == 8
    return _mm256_movemask_epi8((__m256i)mask) != 0;
#elif defined(__SSE2__)
    return _mm_movemask_epi8((__m128i)mask) != 0;
#elif defined(__wasm_simd128__)
    return wasm_v128_any_true((v128_t)mask);
#else
    return (mask[0] | mask[1] | mask[2] | mask[3]) != 0;
#endif
}

/// Each lane limited to -Limit to Limit.
template <int32_t Limit> TONELINK_INLINE words limit(words a)
{
#if TONELINK_LANES == 4 && defined(__SSE2__)
    // SSE2 compares, but has no minimum of words; as floats they have, and are exact: whatever
    // needs rounding is beyond the limit, and stays there.
    static_assert(Limit < 1 << 24);
    const __m128 lower = _mm_max_ps(_mm_cvtepi32_ps((__m128i)a), _mm_set1_ps(-Limit));
    return (words)_mm_cvttps_epi32(_mm_min_ps(lower, _mm_set1_ps(Limit)));
#else
    return minimum(maximum(a, splat(-Limit)), splat(Limit));
#endif
}

/// How far each lane is to be shifted to the right: 0 to 15.
#if TONELINK_LANES == 8 || defined(__ARM_NEON)
struct lane_shifts {
    words counts;
};
TONELINK_INLINE lane_shifts prepare_shifts(words counts) { return {counts}; }
TONELINK_INLINE words shift_right_each(words a, const lane_shifts &by) { return a >> by.counts; }
#else
// There is no such instruction. Where two counts are all there are, as for hops in a row, both
// shifts are made and the right one is taken; else one bit of the counts after the other.
struct lane_shifts {
    words counts;
    words by_most; // mask
    int32_t least;
    int32_t most;
    bool others;
};
TONELINK_INLINE lane_shifts prepare_shifts(words counts)
{
    int32_t least = counts[0];
    int32_t most = counts[0];
    for (std::size_t lane = 1; lane < kLanes; ++lane) {
        least = counts[lane] < least ? counts[lane] : least;
        most = counts[lane] > most ? counts[lane] : most;
    }
    const words by_most = (words)(counts == most);
    return {counts, by_most, least, most, any_lane(~(by_most | (words)(counts == least)))};
}
TONELINK_INLINE words shift_right_each(words a, const lane_shifts &by)
{
    if (!by.others) return select(by.by_most, a >> by.most, a >> by.least);
    a = select((words)((by.counts & 1) != 0), a >> 1, a);
    a = select((words)((by.counts & 2) != 0), a >> 2, a);
    a = select((words)((by.counts & 4) != 0), a >> 4, a);
    return select((words)((by.counts & 8) != 0), a >> 8, a);
}
#endif

// ---- What the stages share ----

/// Bits 15 to 30 of both words as the halves of a lane: two sums of Q15 products, rounded down.
TONELINK_INLINE halves q15_halves(words low, words high)
{
#if TONELINK_LANES == 8
    return combine_halves(low >> 15, shift_left(high, 1));
#else
    // Without a blend, two shifts clear the upper half just as well.
    const words lower = (words)((unsigned_words)shift_left(low, 1) >> 16);
    return (halves)(lower | (shift_left(high, 1) & ~0xFFFF));
#endif
}

/// The product with a complex number in Q15, which is given as (re, -im) and (im, re): both
/// products of a part are added, then shifted.
TONELINK_INLINE halves multiply(halves x, halves for_real, halves for_imaginary)
{
    return q15_halves(multiply_add(x, for_real), multiply_add(x, for_imaginary));
}

} // namespace tonelink::TONELINK_SIMD
