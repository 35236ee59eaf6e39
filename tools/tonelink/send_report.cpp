#include "send_report.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>

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

/// As printf() would print it, at most 199 characters.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char *format, ...)
{
    std::array<char, 200> line{};
    va_list values;
    va_start(values, format);
    std::vsnprintf(line.data(), line.size(), format, values);
    va_end(values);
    return line.data();
}

std::string hex_of(const message_bits &message)
{
    std::string text;
    for (std::size_t at = 0; at < message.size(); at += 8)
        text += formatted("%02X", field_of(message, at, 8));
    return text;
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
    return formatted("\"master_volume\":%d,\"sound_volume\":%d,\"floor\":%s,\"heard_volume\":%d",
                     now.master, now.sound, floor.c_str(), now.heard);
}

std::string json_of(const send_report::progress &at)
{
    return formatted("\"seconds\":%.3f,\"copies\":%llu,", at.seconds,
                     static_cast<unsigned long long>(at.copies)) +
           json_of(at.now);
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
        std::string line = formatted(R"({"event":"started","message":"%s","bits":%zu)",
                                     message.c_str(), plan_.message.size());
        if (pin_) line += formatted(",\"pin\":%lu", static_cast<unsigned long>(*pin_));
        line += formatted(R"(,"player":"%s","rate":%d,)", name_of(plan_.by), plan_.rate);
        print(line + json_of(before) + "}\n");
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
        print("{\"event\":\"playing\"," + json_of(at) + "}\n");
        return;
    }
    if (!is_terminal_ || tcgetpgrp(STDOUT_FILENO) != getpgrp()) return; // a shell writes there now
    std::string line = pin_ ? "PIN " + std::to_string(*pin_) + "  " : "";
    line += formatted("%.1f s  ", at.seconds) + copies_text(at.copies);
    line += formatted("  master volume %d, heard at %d of 15", at.now.master, at.now.heard);
    if (is_ending) line += "  finishing";
    show_live(line);
}

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (form_ == report_form::json) {
        print(formatted(R"({"event":"stopped","reason":"%s",)", name_of(reason)) + json_of(at) +
              "}\n");
        return;
    }
    clear_live();
    print("Sent " + copies_text(at.copies) +
          formatted(" in %.1f s; sound volume back at %d of 15.\n", at.seconds, at.now.sound));
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
