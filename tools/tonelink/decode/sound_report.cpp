#include "decode/sound_report.h"

#include <utility>

#include "decode/burst_receiver.h"
#include "decode/decode_report.h"

namespace tonelink::tool {

sound_report::sound_report(std::string file, report_form form, bool is_stream, line_taker take_line)
    : file_{std::move(file)}, form_{form}, is_stream_{is_stream}, take_line_{std::move(take_line)}
{
}

void sound_report::add(const tonelink_heard &heard)
{
    message_summary message = messages_.add(heard);
    if (!is_stream_ || recent_.hear(heard) > heard.copies) return;
    told_[hex_of(message.message)] = line_of(message, "", report_form::text);
    message.seconds = start_of(heard);
    take_line_(line_of(message, file_, form_));
}

void sound_report::finish()
{
    for (const message_summary &message : messages_.all())
        if (told_[hex_of(message.message)] != line_of(message, "", report_form::text))
            take_line_(line_of(message, file_, form_));
}

} // namespace tonelink::tool
