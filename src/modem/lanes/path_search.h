// The Viterbi algorithm over a batch of candidates: one lane is one candidate, and a row of metrics
// is one of the 64 states in all of them.
//
// Metrics are held times 16, and their four low bits say which way the path came in the last steps:
// a candidate whose oldest bit is 1 adds 2^j in step j of a group of four. As this step's bit
// outweighs those before it, a tie goes to that candidate, as it has to. After four steps the bits
// are taken out.
//
// That fits: two metrics of a step differ by at most what six steps can add to the one path and
// take from the other, 12 x 4000000, and a little for the start; sixteen steps without
// normalisation add 16 x 4000000; times 16 this is below 2^31.
#pragma once

#include "modem/code_tables.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace path_search {

inline constexpr std::size_t kStates = 64;
inline constexpr int kScale = 4; // bits below the metrics
inline constexpr int32_t kDecisionMask = (1 << kScale) - 1;
inline constexpr int32_t kStartBias = 500000 << kScale;
inline constexpr std::size_t kStepsUnnormalised = 16;

/// How well a step agrees with each combination of code bits 0 (and 3), 1 and 2, in bits 2, 1 and 0
/// of the index, for the predecessor whose oldest bit is 0, and for the other, which adds its
/// decision.
struct branches {
    words zero[8];
    words one[8];
};

TONELINK_INLINE branches branches_of(const int32_t (*sums)[kBatch], std::size_t lane,
                                     int32_t decision)
{
    const words a = shift_left(load(&sums[0][lane]), kScale);
    const words b = shift_left(load(&sums[1][lane]), kScale);
    const words c = shift_left(load(&sums[2][lane]), kScale);
    branches m;
    m.zero[0] = a + b + c;
    m.zero[1] = a + b - c;
    m.zero[2] = a - b + c;
    m.zero[3] = a - b - c;
    for (std::size_t code = 0; code < 4; ++code) m.zero[7 - code] = -m.zero[code];
    for (std::size_t code = 0; code < 8; ++code) m.one[code] = m.zero[code] + decision;
    return m;
}

/// The index into branches for the branch into state s from the predecessor whose oldest bit is 0.
constexpr unsigned code_into(unsigned s)
{
    return (outBits[s] & 1u) << 2 | (outBits[s] >> 1 & 1u) << 1 | (outBits[s] >> 2 & 1u);
}

/// From predecessors P and P + 32 to the two states that they lead to, 2 P and 2 P + 1, in their
/// places. The branches into those are opposites.
template <unsigned P> TONELINK_INLINE void butterfly(words &low, words &high, const branches &m)
{
    constexpr unsigned code = code_into(2 * P);
    static_assert(code_into(2 * P + 1) == 7 - code);
    const words even = maximum(low + m.zero[code], high + m.one[7 - code]);
    const words odd = maximum(low + m.zero[7 - code], high + m.one[code]);
    low = even;
    high = odd;
}

/// Two steps for the four states Q + 16 i, which become the states 4 Q + i.
template <unsigned Q>
TONELINK_INLINE void two_steps(const words *old, words *now, const branches &first,
                               const branches &second)
{
    words a = old[Q];
    words b = old[Q + 16];
    words c = old[Q + 32];
    words d = old[Q + 48];
    butterfly<Q>(a, c, first);      // to states 2 Q and 2 Q + 1
    butterfly<Q + 16>(b, d, first); // to states 2 Q + 32 and 2 Q + 33
    butterfly<2 * Q>(a, b, second);
    butterfly<2 * Q + 1>(c, d, second);
    now[4 * Q] = a;
    now[4 * Q + 1] = b;
    now[4 * Q + 2] = c;
    now[4 * Q + 3] = d;
}

template <unsigned... Q> struct state_quads {
    TONELINK_INLINE static void step(const words *old, words *now, const branches &first,
                                     const branches &second)
    {
        (two_steps<Q>(old, now, first, second), ...);
    }
};

using all_quads = state_quads<0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15>;

/// The metrics of a vector's candidates.
struct metrics {
    words states[kStates];
};

/// Two steps, the first of which is step `j` of its group.
inline void step_twice(const metrics &old, metrics &now, const int32_t (*sums)[kBatch],
                       std::size_t lane, int j)
{
    const branches first = branches_of(sums, lane, 1 << j);
    const branches second = branches_of(sums + kStepSums, lane, 2 << j);
    all_quads::step(old.states, now.states, first, second);
}

/// A group of four steps.
inline void step_group(metrics &paths, const int32_t (*sums)[kBatch], std::size_t lane)
{
    metrics between;
    step_twice(paths, between, sums, lane, 0);
    step_twice(between, paths, sums + 2 * kStepSums, lane, 2);
}

/// Takes the decisions out of the metrics, eight states a word.
inline void take_decisions(metrics &paths, uint32_t (*decisions)[kBatch], std::size_t lane)
{
    for (std::size_t eight = 0; eight < kStates / 8; ++eight) {
        words taken{};
        for (std::size_t s = 0; s < 8; ++s) {
            words &metric = paths.states[8 * eight + s];
            const words bits = metric & kDecisionMask;
            metric -= bits;
            taken |= shift_left(bits, static_cast<int>(kScale * s));
        }
        store(&decisions[eight][lane], taken);
    }
}

inline void drop_decisions(metrics &paths)
{
    for (words &metric : paths.states) metric &= ~kDecisionMask;
}

inline void normalise(metrics &paths)
{
    const words reference = paths.states[0];
    for (words &metric : paths.states) metric -= reference;
}

} // namespace path_search

template <std::size_t Bits>
void search_paths(const code_sums<Bits> &code, std::size_t count, path_decisions<Bits> &decisions)
{
    using namespace path_search;
    for (std::size_t lane = 0; lane < count; lane += kLanes) {
        metrics paths{};
        paths.states[0] = splat(kStartBias);
        const int32_t(*sums)[kBatch] = code.sums;
        // The last state tells the last six bits, so that the decisions of six steps are of no use.
        step_group(paths, sums, lane);
        drop_decisions(paths);
        metrics after_six;
        step_twice(paths, after_six, sums + 4 * kStepSums, lane, 0);
        drop_decisions(after_six);
        paths = after_six;
        sums += 6 * kStepSums;
        for (std::size_t group = 0; group < path_decisions<Bits>::kGroups; ++group) {
            if (4 * group % kStepsUnnormalised == 0) normalise(paths);
            step_group(paths, sums, lane);
            take_decisions(paths, decisions.words[group], lane);
            sums += 4 * kStepSums;
        }
    }
}

} // namespace tonelink::TONELINK_SIMD
