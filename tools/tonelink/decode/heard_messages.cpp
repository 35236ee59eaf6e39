#include "decode/heard_messages.h"

#include <algorithm>

#include "burst_shape.h"

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

void heard_messages::accept(const message_bits &message, int64_t sample)
{
    const auto line = std::ranges::find(messages_, message, &message_summary::message);
    if (line == messages_.end())
        messages_.push_back({message, 0, 0, 1});
    else
        ++line->positions;

    const auto burst = std::ranges::find_if(open_, [&](const heard_burst &open) {
        return open.message == message && sample - open.first <= kLongestRun;
    });
    if (burst == open_.end())
        open_.push_back({message, sample, sample});
    else
        burst->last = sample;
}

std::optional<heard_burst> heard_messages::take_burst(int64_t sample)
{
    const auto ended = std::ranges::find_if(
        open_, [&](const heard_burst &open) { return sample - open.first > kLongestRun; });
    if (ended == open_.end()) return std::nullopt;
    const heard_burst burst = *ended;
    open_.erase(ended);

    const auto line = std::ranges::find(messages_, burst.message, &message_summary::message);
    if (line->bursts++ == 0) line->start = burst.start();
    return burst;
}

} // namespace tonelink::tool
