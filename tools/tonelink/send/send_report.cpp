#include "send/send_report.h"

#include <utility>

#include <nlohmann/json.hpp>

#include "errors.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

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

void add_volumes(json_object &object, const volumes &now)
{
    object["master_volume"] = now.master;
    object["sound_volume"] = now.sound;
    object["floor"] = now.floor < 0 ? json_object{} : json_object(now.floor);
    object["heard_volume"] = now.heard;
}

void add_progress(json_object &object, const send_report::progress &at)
{
    object["seconds"] = to_milliseconds(at.seconds);
    object["copies"] = at.copies;
    add_volumes(object, at.now);
}

} // namespace

send_report::send_report(const transmission_plan &plan, std::optional<uint32_t> pin,
                         const report_style &style)
    : plan_{plan}, pin_{pin}, style_{style}, live_{style.stream}
{
}

void send_report::tell(const std::string &text)
{
    if (style_.is_quiet) return;
    if (std::fwrite(text.data(), 1, text.size(), style_.stream) == text.size() &&
        std::fflush(style_.stream) == 0)
        return;
    throw file_failure{std::string{"cannot write to standard "} +
                       (style_.stream == stdout ? "output" : "error")};
}

void send_report::started(const volumes &before, bool has_keys)
{
    const std::string message = hex_of(plan_.message);
    if (style_.form == report_form::json) {
        json_object object{{"event", "started"}, {"message", message}};
        object["bits"] = plan_.message.size();
        if (pin_) object["pin"] = *pin_;
        object["player"] = name_of(plan_.by);
        object["rate"] = plan_.rate;
        add_volumes(object, before);
        tell(line_of(object));
        return;
    }
    const std::string what = pin_ ? "PIN " + std::to_string(*pin_) : "data";
    tell("Sending " + what + ", as message " + message + ".\n");
    if (!shows_live_line() || !has_keys) return;
    tell(plan_.by == player::standalone
             ? "Keys: q stops.\n"
             : "Keys: + and - turn the master volume, q stops. The higher it is, the quieter the "
               "burst: silent above 90.\n");
}

void send_report::warn_of_silence(const volumes &now)
{
    const bool was_silent = std::exchange(is_silent_, now.heard == 0);
    if (!is_silent_ || was_silent) return;
    warn(joined(0, "nothing is heard of it at a master volume of ", now.master,
                "; 1 to 90 is right"));
}

void send_report::playing(const progress &at, bool is_ending)
{
    warn_of_silence(at.now);
    if (style_.form == report_form::json) {
        if (reported_ == at.now) return;
        reported_ = at.now;
        json_object object{{"event", "playing"}};
        add_progress(object, at);
        tell(line_of(object));
        return;
    }
    if (shows_live_line()) live_.show_fitting(live_forms(at, is_ending));
}

/// From all there is to what a person turns the volume by.
std::vector<std::string> send_report::live_forms(const progress &at, bool is_ending) const
{
    const std::string pin = pin_ ? joined(0, "PIN ", *pin_, "  ") : "";
    const std::string seconds = joined(1, at.seconds, " s  ");
    const std::string copies = copies_text(at.copies) + "  ";
    const std::string master = joined(0, "volume ", at.now.master, ", ");
    const std::string level = at.now.heard > 0 ? std::to_string(at.now.heard) : "";
    const std::string volume =
        "master " + master + (level.empty() ? "silent" : "heard at " + level + " of 15");
    const std::string brief = master + (level.empty() ? "silent" : "heard " + level);
    if (!is_ending)
        return {pin + seconds + copies + volume, pin + copies + volume, pin + volume, pin + brief,
                brief};
    const std::string finishing = "  finishing", hint = finishing + ": Ctrl-C ends it";
    return {pin + seconds + copies + volume + hint,
            pin + seconds + copies + brief + hint,
            pin + copies + brief + hint,
            pin + brief + hint,
            pin + brief + finishing,
            brief + finishing,
            brief};
}

void send_report::warn(const std::string &text)
{
    live_.clear();
    say("tonelink send", "warning: " + text);
}

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (style_.form == report_form::json) {
        json_object object{{"event", "stopped"}, {"reason", name_of(reason)}};
        add_progress(object, at);
        tell(line_of(object));
        return;
    }
    live_.clear();
    tell(joined(1, "Sent ", copies_text(at.copies), " in ", at.seconds, " s; sound volume back at ",
                at.now.sound, " of 15.\n"));
}

} // namespace tonelink::tool
