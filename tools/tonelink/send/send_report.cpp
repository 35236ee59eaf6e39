#include "send/send_report.h"

#include <iostream>

#include <iostream>
#include <nlohmann/json.hpp>

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
                         report_form form)
    : plan_{plan}, pin_{pin}, form_{form}
{
}

void send_report::started(const volumes &before, bool has_keys)
{
    const std::string message = hex_of(plan_.message);
    if (form_ == report_form::json) {
        json_object object{{"event", "started"}, {"message", message}};
        object["bits"] = plan_.message.size();
        if (pin_) object["pin"] = *pin_;
        object["player"] = name_of(plan_.by);
        object["rate"] = plan_.rate;
        add_volumes(object, before);
        print(line_of(object));
        return;
    }
    const std::string what = pin_ ? "PIN " + std::to_string(*pin_) : "data";
    std::string line = "Sending " + what + ", as message " + message;
    if (live_.is_there() && has_keys) line += ". Keys: + and - turn the master volume, q stops";
    print(line + ".\n");
}

void send_report::playing(const progress &at, bool is_ending)
{
    if (form_ == report_form::json) {
        if (reported_ == at.now) return;
        reported_ = at.now;
        json_object object{{"event", "playing"}};
        add_progress(object, at);
        print(line_of(object));
        return;
    }
    if (!live_.is_there()) return;
    const std::string pin = pin_ ? joined(0, "PIN ", *pin_, "  ") : "";
    std::string line =
        joined(1, pin, at.seconds, " s  ", copies_text(at.copies), "  master volume ",
               at.now.master, ", heard at ", at.now.heard, " of 15");
    if (is_ending) line += "  finishing";
    live_.show(line);
}

void send_report::warn(const std::string &text)
{
    live_.clear();
    std::cerr << "tonelink send: warning: " << text << '\n';
}

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (form_ == report_form::json) {
        json_object object{{"event", "stopped"}, {"reason", name_of(reason)}};
        add_progress(object, at);
        print(line_of(object));
        return;
    }
    live_.clear();
    print(joined(1, "Sent ", copies_text(at.copies), " in ", at.seconds,
                 " s; sound volume back at ", at.now.sound, " of 15.\n"));
}

} // namespace tonelink::tool
