#include "send_report.h"

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <sstream>

#include <sys/ioctl.h>
#include <unistd.h>

#include "errors.h"

namespace tonelink::tool {
namespace {

void print(const std::string &text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw failure{"cannot write to standard output"};
}

/// The values one after the other, numbers with a fraction at `decimals` places.
template <class... Values> std::string joined(int decimals, const Values &...values)
{
    std::ostringstream line;
    line << std::fixed << std::setprecision(decimals);
    (line << ... << values);
    return line.str();
}

std::string hex_of(const message_bits &message)
{
    std::ostringstream text;
    text << std::hex << std::uppercase << std::setfill('0');
    for (std::size_t at = 0; at < message.size(); at += 8)
        text << std::setw(2) << field_of(message, at, 8);
    return text.str();
}

const char *name_of(player by)
{
    switch (by) {
    case player::thread: return "thread";
    case player::callback: return "callback";
    case player::standalone: return "standalone";
    }
    return "";
}

const char *name_of(stop_reason reason)
{
    switch (reason) {
    case stop_reason::count: return "count";
    case stop_reason::time: return "time";
    case stop_reason::signal: return "signal";
    case stop_reason::key: return "key";
    }
    return "";
}

std::string copies_text(uint64_t copies)
{
    return std::to_string(copies) + (copies == 1 ? " copy" : " copies");
}

std::string json_of(const volumes &now)
{
    const std::string floor = now.floor < 0 ? "null" : std::to_string(now.floor);
    return joined(0, R"("master_volume":)", now.master, R"(,"sound_volume":)", now.sound,
                  R"(,"floor":)", floor, R"(,"heard_volume":)", now.heard);
}

std::string json_of(const send_report::progress &at)
{
    constexpr int kMilliseconds = 3;
    return joined(kMilliseconds, R"("seconds":)", at.seconds, R"(,"copies":)", at.copies, ',',
                  json_of(at.now));
}

std::size_t terminal_columns()
{
    winsize size{};
    const bool is_known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return is_known ? size.ws_col : 80;
}

} // namespace

send_report::send_report(const transmission_plan &plan, std::optional<uint32_t> pin,
                         report_form form)
    : plan_{plan}, pin_{pin}, form_{form}, is_terminal_{isatty(STDOUT_FILENO) != 0}
{
}

send_report::~send_report()
{
    if (live_length_ > 0) std::putchar('\n');
}

void send_report::started(const volumes &before, bool has_keys)
{
    const std::string message = hex_of(plan_.message);
    if (form_ == report_form::json) {
        const std::string pin = pin_ ? R"(,"pin":)" + std::to_string(*pin_) : "";
        print(joined(0, R"({"event":"started","message":")", message, R"(","bits":)",
                     plan_.message.size(), pin, R"(,"player":")", name_of(plan_.by), R"(","rate":)",
                     plan_.rate, ',', json_of(before), "}\n"));
        return;
    }
    const std::string what = pin_ ? "PIN " + std::to_string(*pin_) : "data";
    std::string line = "Sending " + what + ", as message " + message;
    if (is_terminal_ && has_keys) line += ". Keys: + and - turn the master volume, q stops";
    print(line + ".\n");
}

void send_report::playing(const progress &at, bool is_ending)
{
    if (form_ == report_form::json) {
        if (told_ == at.now) return;
        told_ = at.now;
        print(joined(0, R"({"event":"playing",)", json_of(at), "}\n"));
        return;
    }
    if (!is_terminal_ || tcgetpgrp(STDOUT_FILENO) != getpgrp()) return; // a shell writes there now
    const std::string pin = pin_ ? joined(0, "PIN ", *pin_, "  ") : "";
    std::string line =
        joined(1, pin, at.seconds, " s  ", copies_text(at.copies), "  master volume ",
               at.now.master, ", heard at ", at.now.heard, " of 15");
    if (is_ending) line += "  finishing";
    show_live(line);
}

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (form_ == report_form::json) {
        print(joined(0, R"({"event":"stopped","reason":")", name_of(reason), R"(",)", json_of(at),
                     "}\n"));
        return;
    }
    clear_live();
    print(joined(1, "Sent ", copies_text(at.copies), " in ", at.seconds,
                 " s; sound volume back at ", at.now.sound, " of 15.\n"));
}

/// Writes over the line that the cursor stands in, with blanks for what is left of a longer one.
void send_report::show_live(std::string line)
{
    line.resize(std::min(line.size(), terminal_columns() - 1));
    const std::size_t length = line.size();
    if (length < live_length_) line.resize(live_length_, ' ');
    live_length_ = length;
    print('\r' + line);
}

void send_report::clear_live()
{
    if (live_length_ == 0) return;
    print('\r' + std::string(live_length_, ' ') + '\r');
    live_length_ = 0;
}

} // namespace tonelink::tool
