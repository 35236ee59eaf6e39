// The trellis of the convolutional code, as soft values see it. A state is the last six bits that
// went in, the newest in bit 0; every path begins and ends in state 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "modem/burst_format.h"
#include "modem/code_tables.h"

namespace tonelink {

inline constexpr std::size_t kStates = 64;

/// Of the four bits that a step sends, two are always equal: three soft values a step.
inline constexpr std::size_t kStepValues = 3;
inline constexpr std::size_t kMostSteps = kEncoderBits<48>;
constexpr std::size_t steps_of(std::size_t message_bits)
{
    return message_bits + kCrcBits + kTailBits;
}

/// For each step the log likelihood ratios of its code bits, 0 to 1, repeats added up.
struct code_values {
    std::array<std::array<float, kStepValues>, kMostSteps> of;
    std::size_t steps = 0;
};

/// The branch into a state from the predecessor whose oldest bit is 0; the one from the other
/// predecessor sends the opposite bits.
constexpr std::size_t predecessor_of(std::size_t state) { return state >> 1; }
inline constexpr std::size_t kOldestBit = kStates / 2;

/// How likely the branch bits of each pattern are: bit k of a pattern is soft value k's code bit.
inline std::array<float, 8> branch_metrics(const std::array<float, kStepValues> &values)
{
    std::array<float, 8> metrics;
    for (std::size_t pattern = 0; pattern < metrics.size(); ++pattern) {
        float sum = 0;
        for (std::size_t k = 0; k < kStepValues; ++k)
            sum += (pattern >> k & 1) != 0 ? -values[k] : values[k];
        metrics[pattern] = sum;
    }
    return metrics;
}

/// The pattern on the branch from predecessor_of(state).
constexpr std::size_t pattern_of(std::size_t state) { return outBits[state] & 7u; }
static_assert([] {
    for (const uint8_t bits : outBits)
        if ((bits & 1) != bits >> 3) return false;
    return true;
}());

} // namespace tonelink
