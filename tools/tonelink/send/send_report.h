// What `tonelink send` tells of a transmission: to a person, a line that stays up to date on a
// terminal or two lines elsewhere; to a program, an object of JSON a line.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "live_line.h"
#include "report_text.h"
#include "send/transmission.h"

namespace tonelink::tool {

/// Why a transmission ends.
enum class stop_reason { count, time, signal, key };

class send_report {
public:
    /// @param pin  what a pairing message sends; none for data
    send_report(const transmission_plan &plan, std::optional<uint32_t> pin, report_form form);

    // Each throws failure when standard output takes no more.

    /// @param before  the volumes that the transmission found
    void started(const volumes &before, bool has_keys);

    struct progress {
        double seconds;
        uint64_t copies;
        volumes now;
    };
    /// @param is_ending  whether it has been told to stop and plays what is at hand
    void playing(const progress &at, bool is_ending);

    void stopped(const progress &at, stop_reason reason);

    /// Something that a person should know: a line on standard error.
    void warn(const std::string &text);

private:
    transmission_plan plan_;
    std::optional<uint32_t> pin_;
    report_form form_;
    live_line live_{stdout};
    std::optional<volumes> reported_; ///< the volumes that a program knows
};

} // namespace tonelink::tool
