#include "decode/recent_messages.h"

#include <algorithm>

#include "decode/burst_receiver.h"

namespace tonelink::tool {
namespace {

constexpr double kLongestPause = 3;

} // namespace

int64_t recent_messages::hear(const tonelink_heard &heard)
{
    std::erase_if(going_on_, [&](const transmission &one) {
        return heard.seconds - one.seconds > kLongestPause;
    });
    const message_bits message = message_of(heard);
    auto same = std::ranges::find(going_on_, message, &transmission::message);
    if (same == going_on_.end()) same = going_on_.insert(same, {message, heard.seconds});
    same->seconds = std::max(same->seconds, heard.seconds);
    return same->bursts += heard.copies;
}

} // namespace tonelink::tool
