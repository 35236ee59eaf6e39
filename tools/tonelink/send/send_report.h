// What `tonelink send` tells of a transmission: to a person, a line that stays up to date on a
// terminal or two lines elsewhere; to a program, an object of JSON a line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "live_line.h"
#include "report_text.h"
#include "send/transmission.h"

namespace tonelink::tool {

/// Why a transmission ends.
enum class stop_reason { count, time, signal, key };

/// How much is told, and where.
struct report_style {
    report_form form = report_form::text;
    bool is_quiet = false;     ///< only what is wrong
    bool has_live_line = true; ///< on a terminal
    std::FILE *stream = stdout;
};

class send_report {
public:
    /// @param pin  what a pairing message sends; none for data
    send_report(const transmission_plan &plan, std::optional<uint32_t> pin,
                const report_style &style);

    // Each throws failure when the stream takes no more.

    /// @param before  the volumes that the transmission found
    void started(const volumes &before, bool has_keys);

    struct progress {
        double seconds;
        uint64_t copies;
        volumes now;
    };
    /// Also warns once when nothing is heard of it.
    /// @param is_ending  whether it has been told to stop and plays what is at hand
    void playing(const progress &at, bool is_ending);

    void stopped(const progress &at, stop_reason reason);

    /// Something that a person should know: a line on standard error.
    void warn(const std::string &text);

private:
    bool shows_live_line() const { return style_.has_live_line && live_.is_there(); }
    void warn_of_silence(const volumes &now);
    std::vector<std::string> live_forms(const progress &at, bool is_ending) const;
    void tell(const std::string &text);

    transmission_plan plan_;
    std::optional<uint32_t> pin_;
    report_style style_;
    live_line live_;
    bool is_silent_ = false;
    std::optional<volumes> reported_; ///< the volumes that a program knows
};

} // namespace tonelink::tool
