#include "report_text.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include <glib.h>

#include "errors.h"

namespace tonelink::tool {

std::string formatted(const char *format, ...)
{
    std::array<char, 200> line{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(line.data(), line.size(), format, values);
    va_end(values);
    return line.data();
}

std::string json_string(const std::string &text)
{
    char *const valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string quoted = "\"";
    for (const char *c = valid; *c != '\0'; ++c) {
        if (*c == '"' || *c == '\\') quoted += '\\';
        const auto byte = static_cast<unsigned char>(*c);
        quoted += byte < 0x20 ? formatted("\\u%04x", byte) : std::string{*c};
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
