#include "decode/decode_report.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "modem/burst_format.h"
#include "report_text.h"
#include "shown_text.h"

namespace tonelink::tool {
namespace {

double seconds_of(int64_t sample) { return static_cast<double>(sample) / kAudioRate; }

std::string prefix_of(const std::string &file) { return file.empty() ? "" : shown(file) + ": "; }

/// What the message says, whichever it is: a pairing, data or text.
std::string meaning_of(const message_bits &message)
{
    const std::string text = text_of(message);
    return joined(0, "PIN ", pin_of(message), "  ", octets_of(message), "  ", message.size(),
                  " bits  ", hex_of(message)) +
           (text.empty() ? "" : "  text \"" + text + '"');
}

std::string often(const message_summary &heard)
{
    // One position of some 551 a second, whose CRC agrees by chance once in 16 million.
    if (heard.positions == 1) return "heard once, at a single position: may be chance";
    if (heard.bursts == 1) return "heard once";
    return "heard " + std::to_string(heard.bursts) + " times";
}

/// With the members that every object has.
json_object object_of(const message_bits &message, int64_t sample, const std::string &file)
{
    json_object object;
    if (!file.empty()) object["file"] = file;
    object["time"] = to_milliseconds(seconds_of(sample));
    object["bits"] = message.size();
    object["message"] = hex_of(message);
    object["pin"] = pin_of(message);
    object["octets"] = octets_of(message);
    if (const std::string text = text_of(message); !text.empty()) object["text"] = text;
    return object;
}

} // namespace

std::string time_text(int64_t sample)
{
    const auto ms = static_cast<uint64_t>(std::llround(seconds_of(sample) * 1000));
    const uint64_t minutes = ms / 60'000;
    const std::string before = minutes < 60 ? std::to_string(minutes)
                                            : joined(0, minutes / 60, ':', padded(minutes % 60, 2));
    return joined(0, before, ':', padded(ms / 1000 % 60, 2), '.', padded(ms % 1000, 3));
}

std::string line_of(const message_summary &heard, const std::string &file, report_form form)
{
    if (form == report_form::text)
        return prefix_of(file) + time_text(heard.start) + "  " + meaning_of(heard.message) + "  " +
               often(heard) + "\n";
    json_object object = object_of(heard.message, heard.start, file);
    object["bursts"] = heard.bursts;
    object["positions"] = heard.positions;
    return line_of(object);
}

std::string line_of_burst(const heard_burst &burst, report_form form)
{
    if (form == report_form::json) return line_of(object_of(burst.message, burst.start(), ""));
    return time_text(burst.start()) + "  " + meaning_of(burst.message) + "\n";
}

std::string line_of_gap(int64_t sample, int64_t missing)
{
    return line_of(
        json_object{{"time", to_milliseconds(seconds_of(sample))}, {"lost_samples", missing}});
}

std::string line_of_acceptance(const message_bits &message, int64_t sample, const std::string &file,
                               report_form form)
{
    if (form == report_form::text)
        return prefix_of(file) + time_text(sample) + "  " + meaning_of(message) + "\n";
    json_object object = object_of(message, sample, file);
    object["sample"] = sample;
    return line_of(object);
}

} // namespace tonelink::tool
