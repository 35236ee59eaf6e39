#include "decode/recent_messages.h"

#include <algorithm>

#include "modem/burst_format.h"

namespace tonelink::tool {
namespace {

constexpr int64_t kLongestPause = 3 * kAudioRate;

} // namespace

int64_t recent_messages::hear(const heard_burst &burst)
{
    std::erase_if(going_on_, [&](const transmission &one) {
        return burst.first - one.last.last >= kLongestPause;
    });
    auto same = std::ranges::find_if(
        going_on_, [&](const transmission &one) { return one.last.message == burst.message; });
    if (same == going_on_.end()) same = going_on_.insert(same, {burst});
    same->last = burst;
    return ++same->bursts;
}

} // namespace tonelink::tool
