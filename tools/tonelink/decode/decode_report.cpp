#include "decode/decode_report.h"

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
    return joined(0, "PIN ", pin_of(message), "  ", octets_of(message), "  ", message.size(),
                  " bits  ", hex_of(message));
}

std::string often(const message_summary &heard)
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
    return joined(3, '{', name, R"("time":)", seconds_of(sample), R"(,"bits":)", message.size(),
                  R"(,"message":")", hex_of(message), R"(","pin":)", pin_of(message),
                  R"(,"octets":")", octets_of(message), '"');
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
    if (form == report_form::json)
        return json_head(heard.message, heard.start, file) +
               joined(0, R"(,"bursts":)", heard.bursts, R"(,"positions":)", heard.positions, "}\n");
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
        return json_head(message, sample, file) + joined(0, R"(,"sample":)", sample, "}\n");
    return prefix_of(file) + time_text(sample) + "  " + meaning_of(message) + "\n";
}

} // namespace tonelink::tool
