#include "live_line.h"

#include <algorithm>

#include <sys/ioctl.h>
#include <unistd.h>

#include "errors.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

/// How many columns a line may have without moving on to the next one.
std::size_t room_on(std::FILE *terminal)
{
    winsize size{};
    const bool is_known = ioctl(fileno(terminal), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return is_known ? size.ws_col - 1u : 79;
}

bool begins_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }

/// The columns of a text in UTF-8, none of whose characters is wide.
std::size_t columns_of(const std::string &text)
{
    return static_cast<std::size_t>(std::ranges::count_if(text, begins_character));
}

void cut(std::string &text, std::size_t columns)
{
    std::size_t at = 0;
    for (; at < text.size(); ++at)
        if (begins_character(text[at]) && columns-- == 0) break;
    text.resize(at);
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

void live_line::show_fitting(const std::vector<std::string> &forms)
{
    if (!is_there()) return;
    const std::size_t room = room_on(stream_);
    const auto fitting = std::ranges::find_if(
        forms, [room](const std::string &form) { return columns_of(form) <= room; });
    std::string line = fitting == forms.end() ? forms.back() : *fitting;
    cut(line, room);
    const std::size_t length = columns_of(line);
    if (length < length_) line.append(length_ - length, ' '); // for what is left of a longer one
    length_ = length;
    print('\r' + line);
}

void live_line::show_share(const std::string &work, double share)
{
    const std::string percent = joined(0, share * 100, " %");
    show_fitting({work + ' ' + bar_of(share, 40) + ' ' + percent, bar_of(share, 10) + ' ' + percent,
                  percent});
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
        throw file_failure{"cannot write to the terminal"};
}

} // namespace tonelink::tool
