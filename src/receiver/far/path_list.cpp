#include "receiver/far/path_list.h"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace tonelink {

namespace {

/// Of a state that no path reaches.
constexpr float kUnreached = -1e30f;
/// A path through such a state loses more.
constexpr float kMostLoss = -kUnreached / 2;

} // namespace

void path_list::begin(const code_values &values, std::size_t most)
{
    assert(most <= kMostPaths);
    steps_ = values.steps;
    std::array<float, kStates> metrics, before;
    metrics.fill(kUnreached);
    metrics[0] = 0;
    for (std::size_t t = 0; t < steps_; ++t) {
        const std::array<float, 8> branches = branch_metrics(values.of[t]);
        before = metrics;
        for (std::size_t state = 0; state < kStates; ++state) {
            const float branch = branches[pattern_of(state)];
            const float straight = before[predecessor_of(state)] + branch;
            const float opposite = before[predecessor_of(state) + kOldestBit] - branch;
            metrics[state] = std::max(straight, opposite);
            leads_[t][state] = straight - opposite;
        }
    }
    best_ = metrics[0];
    missing_ = most;
    most_loss_ = kMostLoss;
    queue_[0] = {0, static_cast<uint8_t>(steps_), 0, {}};
    queued_ = 1;
}

/// The queue keeps no more than may still be asked for.
void path_list::offer(const detour &path)
{
    if (queued_ == queue_.size()) {
        const auto kept = static_cast<std::ptrdiff_t>(missing_);
        std::nth_element(queue_.begin(), queue_.begin() + kept, queue_.end(),
                         [](const detour &a, const detour &b) { return a.loss < b.loss; });
        most_loss_ = queue_[missing_].loss;
        queued_ = missing_;
        std::make_heap(queue_.begin(), queue_.begin() + kept, is_worse);
        if (path.loss >= most_loss_) return;
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
    metric_ = best_ - path.loss;
    bits_ = path.bits;
    std::size_t state = path.state;
    for (std::size_t t = path.step; t-- > 0;) {
        if ((state & 1) != 0) bits_.set(t);
        const float lead = leads_[t][state];
        const std::size_t straight = predecessor_of(state), opposite = straight + kOldestBit;
        const float loss = path.loss + std::abs(lead);
        if (loss < most_loss_)
            offer({loss, static_cast<uint8_t>(t),
                   static_cast<uint8_t>(lead >= 0 ? opposite : straight), bits_});
        state = lead >= 0 ? straight : opposite;
    }
    return true;
}

} // namespace tonelink
