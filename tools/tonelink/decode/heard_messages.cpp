#include "decode/heard_messages.h"

#include <algorithm>

namespace tonelink::tool {

message_summary &heard_messages::summary_of(const message_bits &message)
{
    const auto known = std::ranges::find(messages_, message, &message_summary::message);
    if (known != messages_.end()) return *known;
    return messages_.emplace_back(message_summary{message});
}

const message_summary &heard_messages::add(const heard_burst &burst)
{
    message_summary &summary = summary_of(burst.message);
    if (summary.bursts++ == 0) summary.start = burst.start();
    return summary;
}

} // namespace tonelink::tool
