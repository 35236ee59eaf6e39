#include "send/send_report.h"

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
    return joined(0, R"("master_volume":)", now.master, R"(,"sound_volume":)", now.sound,
                  R"(,"floor":)", floor, R"(,"heard_volume":)", now.heard);
}

std::string json_of(const send_report::progress &at)
{
    constexpr int kMilliseconds = 3;
    return joined(kMilliseconds, R"("seconds":)", at.seconds, R"(,"copies":)", at.copies, ',',
                  json_of(at.now));
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
        const std::string pin = pin_ ? R"(,"pin":)" + std::to_string(*pin_) : "";
        print(joined(0, R"({"event":"started","message":")", message, R"(","bits":)",
                     plan_.message.size(), pin, R"(,"player":")", name_of(plan_.by), R"(","rate":)",
                     plan_.rate, ',', json_of(before), "}\n"));
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
        print(joined(0, R"({"event":"playing",)", json_of(at), "}\n"));
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

void send_report::stopped(const progress &at, stop_reason reason)
{
    if (form_ == report_form::json) {
        print(joined(0, R"({"event":"stopped","reason":")", name_of(reason), R"(",)", json_of(at),
                     "}\n"));
        return;
    }
    live_.clear();
    print(joined(1, "Sent ", copies_text(at.copies), " in ", at.seconds,
                 " s; sound volume back at ", at.now.sound, " of 15.\n"));
}

} // namespace tonelink::tool
