#include "syslog_stand_in.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include <syslog.h>

namespace tonelink::test {

namespace {

void add_line(int priority, const char *format, va_list arguments)
{
    std::array<char, 4096> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    syslog_lines().push_back({priority, text.data()});
}

} // namespace

std::vector<syslog_line> &syslog_lines()
{
    static std::vector<syslog_line> lines;
    return lines;
}

} // namespace tonelink::test

extern "C" {
void __syslog_chk(int priority, int flag, const char *format, ...);

void syslog(int priority, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    tonelink::test::add_line(priority, format, arguments);
    va_end(arguments);
}

// The same under _FORTIFY_SOURCE.
void __syslog_chk(int priority, int, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    tonelink::test::add_line(priority, format, arguments);
    va_end(arguments);
}
}
