#include "report_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <nlohmann/json.hpp>

#include <poll.h>
#include <unistd.h>

#include "errors.h"
#include "shown_text.h"

namespace tonelink::tool {

std::string padded(uint64_t number, int width)
{
    return joined(0, std::setfill('0'), std::setw(width), number);
}

std::string padded_hex(uint64_t number, int width)
{
    return joined(0, std::hex, std::uppercase, std::setfill('0'), std::setw(width), number);
}

std::string bar_of(double share, std::size_t width)
{
    const double shown = share > 0 ? std::min(share, 1.0) : 0.0; // 0 also if no number
    std::string bar(width, '.');
    std::fill_n(bar.begin(), static_cast<std::ptrdiff_t>(shown * static_cast<double>(width)), '#');
    return '[' + bar + ']';
}

std::string line_of(const json_object &object)
{
    return shown_json(object.dump(-1, ' ', false, json_object::error_handler_t::replace)) + '\n';
}

double to_milliseconds(double seconds) { return std::round(seconds * 1000) / 1000; }

double to_tenths(double value) { return std::round(value * 10) / 10 + 0.0; } // no -0

void print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw file_failure{"cannot write to standard output"};
}

void require_reader()
{
    pollfd output{STDOUT_FILENO, 0, 0};
    if (poll(&output, 1, 0) > 0 && (output.revents & POLLERR) != 0)
        throw file_failure{"nobody reads standard output any more"};
}

void say(const std::string &who, const std::string &what)
{
    const std::string line = who + ": " + shown(what) + '\n';
    std::fputs(line.c_str(), stderr);
}

} // namespace tonelink::tool
