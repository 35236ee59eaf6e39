#include "decode/sound_report.h"

#include <utility>

#include "decode/decode_report.h"

namespace tonelink::tool {

sound_report::sound_report(std::string file, report_form form, bool is_stream, line_taker take_line)
    : file_{std::move(file)}, form_{form}, is_stream_{is_stream}, take_line_{std::move(take_line)}
{
}

void sound_report::add(const heard_burst &burst)
{
    message_summary message = messages_.add(burst);
    if (!is_stream_ || recent_.hear(burst) > 1) return;
    told_[hex_of(message.message)] = line_of(message, "", report_form::text);
    message.start = burst.start();
    take_line_(line_of(message, file_, form_));
}

void sound_report::finish()
{
    for (const message_summary &message : messages_.all())
        if (told_[hex_of(message.message)] != line_of(message, "", report_form::text))
            take_line_(line_of(message, file_, form_));
}

} // namespace tonelink::tool
