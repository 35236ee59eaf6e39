// Stands in for the system's syslog(), which the test machine need not have.
#pragma once

#include <string>
#include <vector>

namespace tonelink::test {

struct syslog_line {
    int priority;
    std::string text;
};

/// The lines that have gone to syslog.
std::vector<syslog_line> &syslog_lines();

} // namespace tonelink::test
