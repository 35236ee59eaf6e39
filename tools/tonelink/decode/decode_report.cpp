#include "decode/decode_report.h"

#include <cmath>

#include <nlohmann/json.hpp>

#include "decode/burst_receiver.h"
#include "decode/reception_text.h"
#include "report_text.h"
#include "shown_text.h"

namespace tonelink::tool {
namespace {

std::string prefix_of(const std::string &file) { return file.empty() ? "" : shown(file) + ": "; }

/// What the message says, whichever it is: a pairing, data or text.
std::string meaning_of(const message_bits &message)
{
    const std::string text = text_of(message);
    return joined(0, "PIN ", pin_of(message), "  ", octets_of(message), "  ", message.size(),
                  " bits  ", hex_of(message)) +
           (text.empty() ? "" : joined(0, "  text ", std::quoted(text)));
}

/// One position of some 551 a second, whose CRC agrees by chance once in 16 million. The far method
/// weighs that itself.
bool may_be_chance(int64_t positions, uint32_t methods)
{
    return positions == 1 && methods == TONELINK_METHOD_EXACT;
}

/// What the line of a single burst ends with.
std::string doubt_of(const tonelink_heard &heard)
{
    return may_be_chance(heard.positions, heard.methods) ? "  at a single position: may be chance"
                                                         : "";
}

std::string often(const message_summary &heard)
{
    if (may_be_chance(heard.positions, heard.methods))
        return "heard once, at a single position: may be chance";
    if (heard.bursts == 1) return "heard once";
    return "heard " + std::to_string(heard.bursts) + " times";
}

json_object methods_of(uint32_t methods)
{
    json_object names = json_object::array();
    if ((methods & TONELINK_METHOD_EXACT) != 0) names.push_back("exact");
    if ((methods & TONELINK_METHOD_FAR) != 0) names.push_back("far");
    return names;
}

/// With the members that every object has.
json_object object_of(const message_bits &message, double seconds, const std::string &file)
{
    json_object object;
    if (!file.empty()) object["file"] = file;
    object["time"] = to_milliseconds(seconds);
    object["bits"] = message.size();
    object["message"] = hex_of(message);
    object["pin"] = pin_of(message);
    object["octets"] = octets_of(message);
    if (const std::string text = text_of(message); !text.empty()) object["text"] = text;
    return object;
}

} // namespace

std::string time_text(double seconds)
{
    const auto ms = static_cast<uint64_t>(std::llround(seconds * 1000));
    const uint64_t minutes = ms / 60'000;
    const std::string before = minutes < 60 ? std::to_string(minutes)
                                            : joined(0, minutes / 60, ':', padded(minutes % 60, 2));
    return joined(0, before, ':', padded(ms / 1000 % 60, 2), '.', padded(ms % 1000, 3));
}

std::string line_of(const message_summary &heard, const std::string &file, report_form form)
{
    if (form == report_form::text)
        return prefix_of(file) + time_text(heard.seconds) + "  " + meaning_of(heard.message) +
               "  " + often(heard) + "\n";
    json_object object = object_of(heard.message, heard.seconds, file);
    object["bursts"] = heard.bursts;
    object["positions"] = heard.positions;
    return line_of(object);
}

std::string line_of_burst(const tonelink_heard &heard, report_form form)
{
    const message_bits message = message_of(heard);
    if (form == report_form::text)
        return time_text(start_of(heard)) + "  " + meaning_of(message) + doubt_of(heard) + "\n";
    json_object object = object_of(message, start_of(heard), "");
    object["positions"] = heard.positions;
    return line_of(object);
}

std::string line_of_figures(const tonelink_heard &heard, const std::string &file, report_form form)
{
    const message_bits message = message_of(heard);
    if (form == report_form::text)
        return prefix_of(file) + time_text(start_of(heard)) + "  " + meaning_of(message) +
               joined(1, "  ", heard.level_dbfs, " dBFS  ", heard.snr_db, " dB over noise  ",
                      std::showpos, to_tenths(heard.clock_ppm), " ppm") +
               doubt_of(heard) + "\n";
    json_object object = object_of(message, start_of(heard), file);
    object["sample"] = heard.first_sample;
    object["level_dbfs"] = to_tenths(heard.level_dbfs);
    object["snr_db"] = to_tenths(heard.snr_db);
    object["clock_ppm"] = to_tenths(heard.clock_ppm);
    object["copies"] = heard.copies;
    object["positions"] = heard.positions;
    object["methods"] = methods_of(heard.methods);
    return line_of(object);
}

std::string line_of_gap(double seconds, int64_t missing)
{
    return line_of(json_object{{"time", to_milliseconds(seconds)}, {"lost_samples", missing}});
}

std::string line_of_nothing(const tonelink_reception &reception, const std::string &file)
{
    json_object object;
    if (!file.empty()) object["file"] = file;
    object.update(object_of(reception));
    return line_of(object);
}

} // namespace tonelink::tool
