#include "receiver/heard_bursts.h"

#include <algorithm>
#include <span>
#include <utility>

namespace tonelink {

namespace {

message_value value_of(const heard_message &heard)
{
    message_value value{0, heard.length};
    for (const uint8_t bit : heard.message()) value.bits = value.bits << 1 | bit;
    return value;
}

} // namespace

void heard_bursts::accept(const heard_message &heard)
{
    const message_value message = value_of(heard);
    const std::span open{open_.data(), count_};
    const auto burst = std::ranges::find_if(open, [&](const heard_burst &other) {
        return other.message == message && heard.position - other.first <= kLongestRun;
    });
    if (burst != open.end()) {
        burst->last = heard.position;
        ++burst->positions;
    } else if (count_ < kMost) {
        open_[count_++] = {{message, heard.position, heard.position, 1}, false};
    }
}

std::optional<heard_burst> heard_bursts::take(uint64_t position)
{
    // The one that began first is the first one to end.
    while (count_ > 0 && position - open_[0].first > kLongestRun) {
        const open_burst burst = open_[0];
        std::copy(open_.data() + 1, open_.data() + count_, open_.data());
        --count_;
        if (!burst.is_taken) return burst;
    }
    return std::nullopt;
}

std::optional<heard_burst> heard_bursts::take_early(uint64_t position)
{
    constexpr uint64_t kGap = 240; // of positions that may be missing in a run
    // The middle of a run lies up to 650 samples behind its first position; who measures a burst
    // from its middle finds it within 440.
    constexpr uint64_t kUsualRun = 650;
    for (open_burst &open : std::span{open_}.first(count_)) {
        if (std::exchange(open.is_taken, true)) continue;
        heard_burst burst = open;
        if (position - burst.last <= kGap)
            burst.last = std::max(burst.last, burst.first + kUsualRun);
        return burst;
    }
    return std::nullopt;
}

} // namespace tonelink
