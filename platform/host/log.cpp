// The log: one line a call, one write a line, to standard error, to syslog or nowhere.

#include "log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <sys/syslog.h>
#include <unistd.h>

#include "result.h"
#include "setting.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

enum class log_target { none, standard_error, syslog };

constexpr const char *kOwnTag = "TONE_LINK_HOST";

// Never destroyed: a thread may log while the process ends.
setting &chosen_log()
{
    static setting &chosen = *new setting{"TONELINK_LOG"};
    return chosen;
}

std::optional<log_target> parse_target(std::string_view text)
{
    if (text == "none") return log_target::none;
    if (text == "stderr") return log_target::standard_error;
    if (text == "syslog") return log_target::syslog;
    return std::nullopt;
}

/// How a priority is shown: a letter, its colour on a terminal, its level in syslog.
struct priority_style {
    char letter;
    const char *colour;
    int syslog_level;
};

priority_style style_of(int priority)
{
    switch (static_cast<log_priority>(priority)) {
    case log_priority::verbose: return {'V', "\033[2m", LOG_DEBUG};
    case log_priority::debug: return {'D', "\033[2m", LOG_DEBUG};
    case log_priority::warning: return {'W', "\033[33m", LOG_WARNING};
    case log_priority::error: return {'E', "\033[31m", LOG_ERR};
    case log_priority::fatal: return {'F', "\033[1;31m", LOG_CRIT};
    case log_priority::information: break;
    }
    return {'I', "\033[32m", LOG_INFO};
}

/// A character at the beginning of a text, in UTF-8: its number, and how many bytes it has. What is
/// none, one byte that is cut short or too long, is number 0.
struct character {
    std::uint32_t number;
    std::size_t size;
};

character first_of(std::string_view text)
{
    const auto byte = [&](std::size_t i) {
        return i < text.size() ? static_cast<unsigned char>(text[i]) : 0u;
    };
    const std::uint32_t lead = byte(0);
    if (lead < 0x80) return {lead, 1};
    const std::size_t size = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    constexpr std::array<std::uint32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    std::uint32_t number = lead & (0x7Fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return {0, 1};
        number = number << 6 | (byte(i) & 0x3F);
    }
    const bool is_one = lead >= 0xC0 && lead < 0xF8 && number >= kLeast[size] && number < 0x110000;
    return is_one ? character{number, size} : character{0, 1};
}

/// Whether a terminal would obey a character and not show it: those that control it, and marks that
/// turn the direction of writing or cannot be seen.
bool is_obeyed(std::uint32_t number)
{
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 9> kObeyed{{{0, 0x1F},
                                                                              {0x7F, 0x9F},
                                                                              {0x61C, 0x61C},
                                                                              {0x200B, 0x200F},
                                                                              {0x2028, 0x202E},
                                                                              {0x2060, 0x206F},
                                                                              {0xD800, 0xDFFF},
                                                                              {0xFEFF, 0xFEFF},
                                                                              {0xE0000, 0xE007F}}};
    return std::ranges::any_of(kObeyed, [number](const auto &range) {
        return number >= range.first && number <= range.second;
    });
}

/// The text with the bytes of such characters as escapes: "\x1B".
std::string escaped(std::string_view text)
{
    std::string line;
    while (!text.empty()) {
        const character next = first_of(text);
        for (const char byte : text.substr(0, next.size)) {
            std::array<char, 5> escape{byte};
            if (is_obeyed(next.number))
                std::snprintf(escape.data(), escape.size(), "\\x%02X",
                              static_cast<unsigned>(static_cast<unsigned char>(byte)));
            line += escape.data();
        }
        text.remove_prefix(next.size);
    }
    return line;
}

/// The text as one line: no line ends around it, one blank for each row of them within, and nothing
/// that a terminal would obey.
std::string one_line(std::string_view text)
{
    std::string line;
    bool is_broken = false;
    for (const char c : text) {
        if (c == '\n' || c == '\r') {
            is_broken = true;
            continue;
        }
        if (is_broken && c == ' ') continue;
        if (is_broken && !line.empty() && line.back() != ' ') line += ' ';
        is_broken = false;
        line += c;
    }
    while (!line.empty() && line.back() == ' ') line.pop_back();
    return escaped(line);
}

/// The local time of day to the millisecond.
std::string time_of_day()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    const auto since = std::chrono::floor<std::chrono::milliseconds>(now.time_since_epoch());
    std::tm local{};
    localtime_r(&seconds, &local);
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min,
                  local.tm_sec, static_cast<int>(since.count() % 1000));
    return text.data();
}

bool wants_colour()
{
    const char *no_colour = std::getenv("NO_COLOR");
    const char *terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) == 1 && (no_colour == nullptr || *no_colour == '\0') &&
           terminal != nullptr && std::string_view{terminal} != "dumb";
}

void write_to_standard_error(int priority, const char *tag, const std::string &text)
{
    const auto style = style_of(priority);
    const bool colour = wants_colour();
    std::string line;
    if (colour) line += "\033[2m";
    line += time_of_day() + ' ';
    if (colour) line += std::string{"\033[0m"} + style.colour;
    line += style.letter;
    if (colour) line += "\033[0m";
    line += ' ' + std::string{tag} + ": " + text + '\n';

    std::string_view left = line;
    while (!left.empty()) {
        const ssize_t written = write(STDERR_FILENO, left.data(), left.size());
        if (written >= 0)
            left.remove_prefix(static_cast<std::size_t>(written));
        else if (errno != EINTR)
            return; // there is nowhere to say so
    }
}

log_target current_target()
{
    const auto chosen = chosen_log().get();
    if (!chosen) return log_target::none;
    if (const auto target = parse_target(*chosen)) return *target;
    // Who sets the variable wants a log.
    static std::atomic_flag said;
    if (!said.test_and_set())
        write_to_standard_error(static_cast<int>(log_priority::error), kOwnTag,
                                "TONELINK_LOG is \"" + one_line(*chosen) +
                                    "\"; it can be stderr, syslog or none");
    return log_target::standard_error;
}

void log_line(log_target target, int priority, const char *tag, std::string_view text)
{
    if (target == log_target::standard_error)
        write_to_standard_error(priority, tag, one_line(text));
    else if (target == log_target::syslog)
        syslog(LOG_USER | style_of(priority).syslog_level, "%s: %s", tag, one_line(text).c_str());
}

using c_text = std::unique_ptr<char, decltype(&std::free)>;

/// What printf() makes of it; null when the format cannot be printed.
c_text print(const char *format, va_list arguments)
{
    char *text = nullptr;
    return {vasprintf(&text, format, arguments) < 0 ? nullptr : text, &std::free};
}

} // namespace

void log_own(log_priority priority, const char *text) noexcept
{
    try {
        log_line(current_target(), static_cast<int>(priority), kOwnTag, text);
    } catch (const std::exception &) {
        return; // no memory for the line
    }
}

} // namespace tonelink::host

using namespace tonelink::host;

int __dlog_print(int, int priority, const char *tag, const char *format, ...)
{
    if (tag == nullptr || format == nullptr) return kInvalidParameter;
    va_list arguments;
    va_start(arguments, format);
    int result = kOk;
    try {
        const auto target = current_target();
        if (target != log_target::none) {
            const auto text = print(format, arguments);
            if (text != nullptr)
                log_line(target, priority, tag, text.get());
            else
                result = kInvalidParameter;
        }
    } catch (const std::exception &) {
        result = kOutOfMemory;
    }
    va_end(arguments);
    return result;
}

int tonelink_host_set_log(const char *target)
{
    return at_boundary([&] {
        if (target != nullptr && !parse_target(target)) return kInvalidParameter;
        chosen_log().set(target);
        return kOk;
    });
}
