#include "receiver/far/path_list.h"

#include <algorithm>
#include <cassert>

namespace tonelink {

namespace {

/// Of a state that no path reaches.
constexpr float kUnreached = -1e30f;

} // namespace

void path_list::begin(const code_values &values, std::size_t most)
{
    assert(most <= kMostPaths);
    steps_ = values.steps;
    metrics_[0].fill(kUnreached);
    metrics_[0][0] = 0;
    for (std::size_t t = 0; t < steps_; ++t) {
        branches_[t] = branch_metrics(values.of[t]);
        for (std::size_t state = 0; state < kStates; ++state) {
            const float branch = branches_[t][pattern_of(state)];
            const std::size_t before = predecessor_of(state);
            metrics_[t + 1][state] =
                std::max(metrics_[t][before] + branch, metrics_[t][before + kOldestBit] - branch);
        }
    }
    missing_ = most;
    queue_[0] = {0, static_cast<uint8_t>(steps_), 0, {}};
    queued_ = 1;
}

/// The queue keeps no more than may still be asked for.
void path_list::offer(const detour &path)
{
    if (queued_ == queue_.size()) {
        const auto kept = static_cast<std::ptrdiff_t>(std::min(missing_, kMostPaths));
        std::nth_element(queue_.begin(), queue_.begin() + kept, queue_.end(),
                         [](const detour &a, const detour &b) { return a.loss < b.loss; });
        queued_ = static_cast<std::size_t>(kept);
        std::make_heap(queue_.begin(), queue_.begin() + kept, is_worse);
    }
    queue_[queued_++] = path;
    std::push_heap(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(queued_), is_worse);
}

/// From where a detour begins, the better branch is taken at each step; what the other one would
/// cost is known from the metrics, to the last digit.
bool path_list::next()
{
    if (missing_ == 0 || queued_ == 0) return false;
    std::pop_heap(queue_.begin(), queue_.begin() + static_cast<std::ptrdiff_t>(queued_), is_worse);
    const detour path = queue_[--queued_];
    --missing_;
    metric_ = metrics_[steps_][0] - path.loss;
    bits_ = path.bits;
    std::size_t state = path.state;
    for (std::size_t t = path.step; t-- > 0;) {
        if ((state & 1) != 0) bits_.set(t);
        const float branch = branches_[t][pattern_of(state)];
        const std::size_t before = predecessor_of(state);
        const float straight = metrics_[t][before] + branch;
        const float opposite = metrics_[t][before + kOldestBit] - branch;
        const bool goes_straight = straight >= opposite;
        const float other = goes_straight ? opposite : straight;
        if (other > kUnreached / 2) {
            const float loss =
                path.loss + (goes_straight ? straight - opposite : opposite - straight);
            const std::size_t leads_to = goes_straight ? before + kOldestBit : before;
            offer({loss, static_cast<uint8_t>(t), static_cast<uint8_t>(leads_to), bits_});
        }
        state = goes_straight ? before : before + kOldestBit;
    }
    return true;
}

} // namespace tonelink
