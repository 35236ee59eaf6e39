#include "live_line.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

std::size_t columns_of(std::FILE *terminal)
{
    winsize size{};
    const bool is_known = ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return is_known ? size.ws_col : 80;
}

} // namespace

live_line::live_line(std::FILE *stream) : stream_{stream}, is_terminal_{isatty(fileno(stream)) != 0}
{
}

live_line::~live_line()
{
    if (length_ > 0) std::fputc('\n', stream_);
}

bool live_line::is_there() const
{
    const pid_t foreground = tcgetpgrp(fileno(stream_)); // -1 on a terminal that controls others
    return is_terminal_ && (foreground < 0 || foreground == getpgrp());
}

void live_line::show(std::string line)
{
    if (!is_there()) return;
    line.resize(std::min(line.size(), columns_of(stream_) - 1));
    const std::size_t length = line.size();
    if (length < length_) line.resize(length_, ' '); // blanks for what is left of a longer one
    length_ = length;
    print('\r' + line);
}

void live_line::clear()
{
    if (length_ == 0) return;
    print('\r' + std::string(length_, ' ') + '\r');
    length_ = 0;
}

void live_line::print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stream_) != text.size() ||
        std::fflush(stream_) != 0)
        throw failure{"cannot write to the terminal"};
}

} // namespace tonelink::tool
