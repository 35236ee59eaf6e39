// The pilot map's stages in the width of vectors that the file which includes this is compiled for.
// Every function here lies in the namespace of that width, and none of the standard library is
// called.
#pragma once

#include "modem/simd.h"
#include "receiver/far/map_stages.h"

namespace tonelink::TONELINK_SIMD {

typedef float reals __attribute__((vector_size(4 * TONELINK_LANES)));

struct complexes {
    reals re;
    reals im;
};

TONELINK_INLINE complexes load_complexes(const hop_values &values, std::size_t lane)
{
    return {load<reals>(values.re + lane), load<reals>(values.im + lane)};
}

TONELINK_INLINE void store_complexes(hop_values &values, std::size_t lane, complexes value)
{
    store(values.re + lane, value.re);
    store(values.im + lane, value.im);
}

TONELINK_INLINE complexes plus(complexes a, complexes b) { return {a.re + b.re, a.im + b.im}; }
TONELINK_INLINE complexes minus(complexes a, complexes b) { return {a.re - b.re, a.im - b.im}; }
TONELINK_INLINE complexes times(complexes a, map_factor b)
{
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

/// Adds b times a real number.
TONELINK_INLINE void add_scaled(complexes &to, complexes b, float scale)
{
    to.re += b.re * scale;
    to.im += b.im * scale;
}

/// The bins of the subcarriers lie around bin 0.
inline constexpr std::size_t kFirstBin = kFirstSubcarrier + kBodySamples - kSpectrumSize / 2;

/// Decimation in time: the first two stages, which need no multiplication, while loading.
inline void transform(const map_tables &tables, const hop_bodies &bodies, std::size_t rotation,
                      hop_spectra &spectra)
{
    const map_factor *turns = tables.rotations[rotation];
    for (std::size_t lane = 0; lane < kMapHops; lane += kLanes) {
        complexes values[kBodySamples];
        for (std::size_t n = 0; n < kBodySamples; n += 4) {
            complexes x[4];
            for (std::size_t k = 0; k < 4; ++k) {
                const std::size_t from = tables.reversed[n + k];
                x[k] = times(load_complexes(bodies.samples[from], lane), turns[from]);
            }
            const complexes a = plus(x[0], x[1]), b = minus(x[0], x[1]);
            const complexes c = plus(x[2], x[3]), d = minus(x[2], x[3]);
            values[n] = plus(a, c);
            values[n + 2] = minus(a, c);
            values[n + 1] = {b.re + d.im, b.im - d.re};
            values[n + 3] = {b.re - d.im, b.im + d.re};
        }
        for (std::size_t half = 4; half < kBodySamples; half *= 2) {
            const std::size_t stride = kBodySamples / (2 * half);
            for (std::size_t block = 0; block < kBodySamples; block += 2 * half) {
                for (std::size_t i = 0; i < half; ++i) {
                    const complexes a = values[block + i];
                    const complexes b =
                        times(values[block + half + i], tables.twiddles[i * stride]);
                    values[block + i] = plus(a, b);
                    values[block + half + i] = minus(a, b);
                }
            }
        }
        for (std::size_t i = 0; i < kSubcarriers; ++i)
            store_complexes(spectra.subcarriers[i], lane, values[(kFirstBin + i) % kBodySamples]);
    }
}

/// The pilots of each subcarrier, added up for each offset near a pre-rotation.
TONELINK_INLINE void add_up_subcarriers(const map_tables &tables, const hop_spectra *const *symbols,
                                        std::size_t rotation, std::size_t lane,
                                        complexes (&sums)[kNearOffsets][kSubcarriers])
{
    constexpr std::size_t kPairs = kPilots / 2;
    for (std::size_t i = 0; i < kSubcarriers; ++i) {
        complexes together[kPairs], apart[kPairs];
        for (std::size_t p = 0; p < kPairs; ++p) {
            const std::size_t late = kPairs + p, early = kPairs - 1 - p;
            const complexes a =
                times(load_complexes(symbols[2 * late + i % 2]->subcarriers[i], lane),
                      tables.pilots[rotation][i][late]);
            const complexes b =
                times(load_complexes(symbols[2 * early + i % 2]->subcarriers[i], lane),
                      tables.pilots[rotation][i][early]);
            together[p] = plus(a, b);
            apart[p] = minus(a, b);
        }
        for (std::size_t n = 0; n < kNearOffsets / 2; ++n) {
            complexes even{}, odd{};
            for (std::size_t p = 0; p < kPairs; ++p) {
                add_scaled(even, together[p], tables.clock_cosines[i][n][p]);
                add_scaled(odd, apart[p], tables.clock_sines[i][n][p]);
            }
            complexes fast = {even.re - odd.im, even.im + odd.re};
            complexes slow = {even.re + odd.im, even.im - odd.re};
            if (i % 2 != 0) {
                const map_factor turn = tables.odd_turns[n];
                fast = times(fast, turn);
                slow = times(slow, {turn.re, -turn.im});
            }
            sums[kNearOffsets / 2 + n][i] = fast;
            sums[kNearOffsets / 2 - 1 - n][i] = slow;
        }
    }
}

/// The energies at all delays. Each even subcarrier takes half of both odd ones beside it.
TONELINK_INLINE void transform_delays(const map_tables &tables, std::size_t lane,
                                      const complexes (&sums)[kSubcarriers],
                                      float (&energies)[kMapDelays][kMapHops])
{
    constexpr std::size_t kPairs = kSubcarriers / 4;
    complexes merged[2 * kPairs + 1];
    for (std::size_t k = 0; k <= 2 * kPairs; ++k) {
        merged[k] = sums[2 * k];
        if (k > 0) add_scaled(merged[k], sums[2 * k - 1], 0.5f);
        if (k < 2 * kPairs) add_scaled(merged[k], sums[2 * k + 1], 0.5f);
    }
    complexes together[kPairs], apart[kPairs];
    for (std::size_t j = 0; j < kPairs; ++j) {
        together[j] = plus(merged[kPairs + 1 + j], merged[kPairs - 1 - j]);
        apart[j] = minus(merged[kPairs + 1 + j], merged[kPairs - 1 - j]);
    }
    for (std::size_t d = 0; d < kMapDelays / 2; ++d) {
        complexes even = merged[kPairs], odd{};
        for (std::size_t j = 0; j < kPairs; ++j) {
            add_scaled(even, together[j], tables.delay_cosines[d][j]);
            add_scaled(odd, apart[j], tables.delay_sines[d][j]);
        }
        const complexes later = {even.re - odd.im, even.im + odd.re};
        const complexes earlier = {even.re + odd.im, even.im - odd.re};
        const float scale = tables.delay_scales[d];
        store(energies[kMapDelays / 2 + d] + lane,
              (later.re * later.re + later.im * later.im) * scale);
        store(energies[kMapDelays / 2 - 1 - d] + lane,
              (earlier.re * earlier.re + earlier.im * earlier.im) * scale);
    }
}

inline void add_up_pilots(const map_tables &tables, const hop_spectra *const *symbols,
                          std::size_t rotation, near_energies &energies)
{
    for (std::size_t lane = 0; lane < kMapHops; lane += kLanes) {
        complexes sums[kNearOffsets][kSubcarriers];
        add_up_subcarriers(tables, symbols, rotation, lane, sums);
        for (std::size_t offset = 0; offset < kNearOffsets; ++offset)
            transform_delays(tables, lane, sums[offset], energies.of[offset]);
    }
}

inline constexpr map_stages kMapStages = {
    TONELINK_LANES == 8 ? "8 lanes" : "4 lanes",
    transform,
    add_up_pilots,
};

} // namespace tonelink::TONELINK_SIMD
