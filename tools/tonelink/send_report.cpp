#include "send_report.h"

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
        std::string line = formatted(R"({"event":"started","message":"%s","bits":%zu)",
                                     message.c_str(), plan_.message.size());
        if (pin_) line += formatted(",\"pin\":%lu", static_cast<unsigned long>(*pin_));
        line += formatted(R"(,"player":"%s","rate":%d,)", name_of(plan_.by), plan_.rate);
        print(line + json_of(before) + "}\n");
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
        if (told_ == at.now) return;
        told_ = at.now;
        print("{\"event\":\"playing\"," + json_of(at) + "}\n");
        return;
    }
    if (!live_.is_there()) return;
    std::string line = pin_ ? "PIN " + std::to_string(*pin_) + "  " : "";
    line += formatted("%.1f s  ", at.seconds) + copies_text(at.copies);
    line += formatted("  master volume %d, heard at %d of 15", at.now.master, at.now.heard);
    if (is_ending) line += "  finishing";
    live_.show(line);
}

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (form_ == report_form::json) {
        print(formatted(R"({"event":"stopped","reason":"%s",)", name_of(reason)) + json_of(at) +
              "}\n");
        return;
    }
    live_.clear();
    print("Sent " + copies_text(at.copies) +
          formatted(" in %.1f s; the volumes are back: ", at.seconds) +
          formatted("master %d, sound %d of 15.\n", at.now.master, at.now.sound));
}

} // namespace tonelink::tool
