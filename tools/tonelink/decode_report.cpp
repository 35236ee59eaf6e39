#include "decode_report.h"

#include <cmath>

#include "burst_layout.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

double seconds_of(int64_t sample) { return static_cast<double>(sample) / kDesignRate; }

std::string prefix_of(const std::string &file) { return file.empty() ? "" : file + ": "; }

/// What the message says, whichever of the two it is: a pairing or data.
std::string meaning_of(const message_bits &message)
{
    return formatted("PIN %lu  %s  %zu bits  %s", static_cast<unsigned long>(pin_of(message)),
                     octets_of(message).c_str(), message.size(), hex_of(message).c_str());
}

std::string often(const heard_message_line &heard)
{
    // One position of some 551 a second, whose CRC agrees by chance once in 16 million.
    if (heard.positions == 1) return "heard once, at a single position: may be chance";
    if (heard.bursts == 1) return "heard once";
    return "heard " + std::to_string(heard.bursts) + " times";
}

/// The members that every object has.
std::string json_head(const message_bits &message, int64_t sample, const std::string &file)
{
    const std::string name = file.empty() ? "" : "\"file\":" + json_string(file) + ",";
    return "{" + name +
           formatted(R"("time":%.3f,"bits":%zu,"message":"%s","pin":%lu,"octets":"%s")",
                     seconds_of(sample), message.size(), hex_of(message).c_str(),
                     static_cast<unsigned long>(pin_of(message)), octets_of(message).c_str());
}

} // namespace

std::string time_text(int64_t sample)
{
    const auto ms = std::llround(seconds_of(sample) * 1000);
    const std::string rest = formatted("%02lld.%03lld", ms / 1000 % 60, ms % 1000);
    const auto minutes = ms / 60'000;
    if (minutes < 60) return formatted("%lld:", minutes) + rest;
    return formatted("%lld:%02lld:", minutes / 60, minutes % 60) + rest;
}

std::string line_of(const heard_message_line &heard, const std::string &file, report_form form)
{
    if (form == report_form::json)
        return json_head(heard.message, heard.start, file) +
               formatted(",\"bursts\":%lld,\"positions\":%lld}\n",
                         static_cast<long long>(heard.bursts),
                         static_cast<long long>(heard.positions));
    return prefix_of(file) + time_text(heard.start) + "  " + meaning_of(heard.message) + "  " +
           often(heard) + "\n";
}

std::string line_of_burst(const heard_burst &burst, report_form form)
{
    if (form == report_form::json) return json_head(burst.message, burst.start(), "") + "}\n";
    return time_text(burst.start()) + "  " + meaning_of(burst.message) + "\n";
}

std::string line_of_acceptance(const message_bits &message, int64_t sample, const std::string &file,
                               report_form form)
{
    if (form == report_form::json)
        return json_head(message, sample, file) +
               formatted(",\"sample\":%lld}\n", static_cast<long long>(sample));
    return prefix_of(file) + time_text(sample) + "  " + meaning_of(message) + "\n";
}

} // namespace tonelink::tool
