#include "report_text.h"

#include <algorithm>
#include <cstdio>

#include <glib.h>

#include "errors.h"

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
    std::string bar(width, '.');
    std::fill_n(bar.begin(), static_cast<std::ptrdiff_t>(share * static_cast<double>(width)), '#');
    return '[' + bar + ']';
}

std::string json_string(const std::string &text)
{
    char *const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string quoted = "\"";
    for (const char *c = valid; *c != '\0'; ++c) {
        if (*c == '"' || *c == '\\') quoted += '\\';
        const auto byte = static_cast<unsigned char>(*c);
        quoted += byte < 0x20 ? "\\u" + padded_hex(byte, 4) : std::string{*c};
    }
    g_free(valid);
    return quoted + '"';
}

void print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw failure{"cannot write to standard output"};
}

} // namespace tonelink::tool
