#include "decode/heard_messages.h"

#include <algorithm>

#include "decode/burst_receiver.h"

namespace tonelink::tool {

const message_summary &heard_messages::add(const tonelink_heard &heard)
{
    const message_bits message = message_of(heard);
    auto summary = std::ranges::find(messages_, message, &message_summary::message);
    if (summary == messages_.end()) summary = messages_.insert(summary, {message, start_of(heard)});
    summary->seconds = std::min(summary->seconds, start_of(heard)); // they come in any order
    summary->bursts += heard.copies;
    summary->positions += heard.positions;
    summary->methods |= heard.methods;
    return *summary;
}

} // namespace tonelink::tool
