#include "receiver/far/forward_backward.h"

#include <algorithm>
#include <cmath>

namespace tonelink {

namespace {

/// Probabilities of a step's branches, by their patterns, but for a factor: the most probable one
/// has 1. The opposite pattern of p is 7 - p.
std::array<float, 8> branch_weights(const std::array<float, kStepValues> &values, float &most)
{
    std::array<float, 8> weights = branch_metrics(values);
    most = *std::max_element(weights.begin(), weights.end());
    for (float &weight : weights) weight = std::exp((weight - most) / 2);
    return weights;
}

/// The sum of a row is brought to 1, against underflow.
float normalise(std::array<float, kStates> &row)
{
    float sum = 0;
    for (const float value : row) sum += value;
    for (float &value : row) value *= 1 / sum;
    return sum;
}

} // namespace

double forward_backward::forward(const code_values &values)
{
    double log_sum = 0;
    forward_[0].fill(0);
    forward_[0][0] = 1;
    for (std::size_t t = 0; t < values.steps; ++t) {
        float most = 0;
        const auto weights = branch_weights(values.of[t], most);
        const state_row &from = forward_[t];
        state_row &to = forward_[t + 1];
        for (std::size_t state = 0; state < kStates; ++state) {
            const std::size_t pattern = pattern_of(state), before = predecessor_of(state);
            to[state] =
                from[before] * weights[pattern] + from[before + kOldestBit] * weights[7 - pattern];
        }
        log_sum += std::log(double{normalise(to)}) + double{most} / 2;
    }
    constexpr float kLeast = 1e-37f; // a word that does not fit at all
    return log_sum + std::log(double{std::max(forward_[values.steps][0], kLeast)});
}

void forward_backward::backward(const code_values &values, expected_bits &bits)
{
    state_row behind{};
    behind[0] = 1;
    for (std::size_t t = values.steps; t-- > 0;) {
        float most = 0;
        const auto weights = branch_weights(values.of[t], most);
        const state_row &from = forward_[t];
        state_row before{};
        std::array<float, 8> by_pattern{};
        for (std::size_t state = 0; state < kStates; ++state) {
            const std::size_t pattern = pattern_of(state), source = predecessor_of(state);
            const float straight = weights[pattern] * behind[state];
            const float opposite = weights[7 - pattern] * behind[state];
            by_pattern[pattern] += from[source] * straight;
            by_pattern[7 - pattern] += from[source + kOldestBit] * opposite;
            before[source] += straight;
            before[source + kOldestBit] += opposite;
        }
        float sum = 0;
        for (const float probability : by_pattern) sum += probability;
        for (std::size_t k = 0; k < kStepValues; ++k) {
            float ones = 0;
            for (std::size_t pattern = 0; pattern < by_pattern.size(); ++pattern)
                if ((pattern >> k & 1) != 0) ones += by_pattern[pattern];
            bits[t][k] = sum > 0 ? 2 * ones / sum - 1 : 0;
        }
        normalise(before);
        behind = before;
    }
}

} // namespace tonelink
