// Add-compare-select, the Viterbi algorithm's way forward, over a batch of candidates: one lane is
// one candidate, and a row of metrics is one of the 64 states in all of them.
//
// Metrics are held times 16, and their four low bits say which way the path came in the last steps:
// a candidate whose oldest bit is 1 adds 2^j in step j of a group of four. As this step's bit
// outweighs those before it, a tie goes to that candidate, as it has to. After four steps the bits
// are taken out.
//
// The metrics are kept where words compare as the floats of the same bits do (maximum_as_floats).
// Two metrics of a step differ by at most what six steps can add to the one path and take from the
// other, 12 x 4000000, and four steps add or take 4 x 4000000; times 16 that is 2^30 at most on
// either side of kLevel, less than what is there for it.
#pragma once

#include "modem/code_tables.h"
#include "modem/simd.h"
#include "modem/vector_stages.h"

namespace tonelink::TONELINK_SIMD {

namespace add_compare_select {

inline constexpr std::size_t kStates = 64;
inline constexpr int kScale = 4; // bits below the metrics
inline constexpr int32_t kDecisionMask = (1 << kScale) - 1;
inline constexpr int32_t kLevel = 1 << 30; // of state 0 at the start of a group
inline constexpr int32_t kStartBias = 500000 << kScale;
inline constexpr int64_t kGreatestDistance = int64_t{16 * 4000000} << kScale;
static_assert(kLevel - kGreatestDistance >= kLowestFloatBits &&
              kLevel + kGreatestDistance + kDecisionMask <= kHighestFloatBits);

/// How well a step agrees with code bits 0 (and 3), 1 and 2 where bit 0 is 0: bits 1 and 2 are bits
/// 1 and 0 of the index. Opposite code bits agree by the opposite.
struct branches {
    words agreement[4];
};

TONELINK_INLINE branches branches_of(const int32_t (*sums)[kBatch], std::size_t lane)
{
    const words a = shift_left(load(&sums[0][lane]), kScale);
    const words b = shift_left(load(&sums[1][lane]), kScale);
    const words c = shift_left(load(&sums[2][lane]), kScale);
    const words both = b + c;
    const words difference = b - c;
    return {{a + both, a + difference, a - difference, a - both}};
}

/// A metric with the agreement of a branch.
template <unsigned Code> TONELINK_INLINE words advance(words metric, const branches &m)
{
    if constexpr (Code < 4)
        return metric + m.agreement[Code];
    else
        return metric - m.agreement[7 - Code];
}

/// Code bits 0, 1 and 2, the first one highest, of the branch into state s from the predecessor
/// whose oldest bit is 0.
constexpr unsigned code_into(unsigned s)
{
    return (outBits[s] & 1u) << 2 | (outBits[s] >> 1 & 1u) << 1 | (outBits[s] >> 2 & 1u);
}

/// From predecessors P and P + 32 to the two states that they lead to, 2 P and 2 P + 1, in their
/// places. The branches into those are opposites.
template <unsigned P>
TONELINK_INLINE void butterfly(words &low, words &high, const branches &m, words decision)
{
    constexpr unsigned code = code_into(2 * P);
    static_assert(code_into(2 * P + 1) == 7 - code);
    const words other = high + decision;
    const words even = maximum_as_floats(advance<code>(low, m), advance<7 - code>(other, m));
    const words odd = maximum_as_floats(advance<7 - code>(low, m), advance<code>(other, m));
    low = even;
    high = odd;
}

/// Two steps for the four states Q + 16 i, which become the states 4 Q + i.
template <unsigned Q>
TONELINK_INLINE void two_steps(const words *old, words *now, const branches &first,
                               const branches &second, words decision)
{
    words a = old[Q];
    words b = old[Q + 16];
    words c = old[Q + 32];
    words d = old[Q + 48];
    butterfly<Q>(a, c, first, decision);      // to states 2 Q and 2 Q + 1
    butterfly<Q + 16>(b, d, first, decision); // to states 2 Q + 32 and 2 Q + 33
    butterfly<2 * Q>(a, b, second, decision + decision);
    butterfly<2 * Q + 1>(c, d, second, decision + decision);
    now[4 * Q] = a;
    now[4 * Q + 1] = b;
    now[4 * Q + 2] = c;
    now[4 * Q + 3] = d;
}

template <unsigned... Q> struct state_quads {
    TONELINK_INLINE static void step(const words *old, words *now, const branches &first,
                                     const branches &second, words decision)
    {
        (two_steps<Q>(old, now, first, second, decision), ...);
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
    const branches first = branches_of(sums, lane);
    const branches second = branches_of(sums + kStepSums, lane);
    all_quads::step(old.states, now.states, first, second, splat(1 << j));
}

/// A group of four steps.
inline void step_group(metrics &paths, const int32_t (*sums)[kBatch], std::size_t lane)
{
    metrics between;
    step_twice(paths, between, sums, lane, 0);
    step_twice(between, paths, sums + 2 * kStepSums, lane, 2);
}

/// Takes the decisions out of the metrics, eight states a word, and brings those back to the level.
inline void take_decisions(metrics &paths, uint32_t (*decisions)[kBatch], std::size_t lane)
{
    const words excess = (paths.states[0] & ~kDecisionMask) - kLevel;
    for (std::size_t eight = 0; eight < kStates / 8; ++eight) {
        words taken{};
        for (std::size_t s = 0; s < 8; ++s) {
            words &metric = paths.states[8 * eight + s];
            const words bits = metric & kDecisionMask;
            metric = (metric & ~kDecisionMask) - excess;
            taken |= shift_left(bits, static_cast<int>(kScale * s));
        }
        store(&decisions[eight][lane], taken);
    }
}

inline void drop_decisions(metrics &paths)
{
    for (words &metric : paths.states) metric &= ~kDecisionMask;
}

} // namespace add_compare_select

template <std::size_t Bits>
void select_survivors(const code_sums<Bits> &code, std::size_t count, survivors<Bits> &surviving)
{
    using namespace add_compare_select;
    for (std::size_t lane = 0; lane < count; lane += kLanes) {
        metrics paths;
        for (words &metric : paths.states) metric = splat(kLevel);
        paths.states[0] += kStartBias;
        const int32_t(*sums)[kBatch] = code.sums;
        // The last state tells the last six bits, so that the decisions of six steps are of no use.
        step_group(paths, sums, lane);
        drop_decisions(paths);
        metrics after_six;
        step_twice(paths, after_six, sums + 4 * kStepSums, lane, 0);
        drop_decisions(after_six);
        paths = after_six;
        sums += 6 * kStepSums;
        for (std::size_t group = 0; group < survivors<Bits>::kGroups; ++group) {
            step_group(paths, sums, lane);
            take_decisions(paths, surviving.words[group], lane);
            sums += 4 * kStepSums;
        }
    }
}

} // namespace tonelink::TONELINK_SIMD
