#include "decode/heard_bursts.h"

#include <algorithm>

#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

/// Positions of one burst are at most this far apart: half a burst. The next copy comes a whole
/// burst later.
constexpr int64_t kLongestRun = kBurstSamples / 2;

/// From the first sample of a clean burst to the middle of the run of positions that completes it.
constexpr int64_t kMiddleOfRun = kBurstSamples - 20; // as measured

} // namespace

int64_t heard_burst::first_sample() const { return (first + last) / 2 - kMiddleOfRun; }

int64_t heard_burst::start() const { return std::max<int64_t>(0, first_sample()); }

void heard_bursts::accept(const message_bits &message, int64_t sample)
{
    const auto same = std::ranges::find_if(open_, [&](const open_burst &open) {
        return open.burst.message == message && sample - open.burst.first <= kLongestRun;
    });
    if (same == open_.end())
        open_.push_back({{message, sample, sample}});
    else
        same->burst.last = sample;
}

std::optional<heard_burst> heard_bursts::take(int64_t sample)
{
    const auto has_ended = [&](const open_burst &open) {
        return sample - open.burst.first > kLongestRun;
    };
    for (auto open = open_.begin(); open != open_.end();) {
        if (!has_ended(*open)) {
            ++open;
            continue;
        }
        const open_burst ended = *open;
        open = open_.erase(open);
        if (!ended.is_taken) return ended.burst;
    }
    return std::nullopt;
}

std::optional<heard_burst> heard_bursts::take_early()
{
    const auto next = std::ranges::find(open_, false, &open_burst::is_taken);
    if (next == open_.end()) return std::nullopt;
    next->is_taken = true;
    return next->burst;
}

} // namespace tonelink::tool
