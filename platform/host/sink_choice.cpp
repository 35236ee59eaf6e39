// Which sink outputs play to: what the program has set, else TONELINK_AUDIO, else ALSA's default.

#include <optional>
#include <string_view>

#include "result.h"
#include "setting.h"
#include "sink.h"
#include "tonelink_platform/host.h"

namespace tonelink::host {

namespace {

struct sink_choice {
    std::unique_ptr<sink> (*open)(const std::string &name, int rate);
    std::string name;
};

// Never destroyed: a thread may use it while the process ends.
setting &chosen_audio()
{
    static auto &chosen = *new setting{"TONELINK_AUDIO"};
    return chosen;
}

std::optional<sink_choice> parse_choice(const std::string &text)
{
    const auto colon = text.find(':');
    const auto kind = std::string_view{text}.substr(0, colon);
    const bool is_named = colon != std::string::npos;
    const auto name = is_named ? text.substr(colon + 1) : std::string{};
    if (is_named && name.empty()) return std::nullopt;
    if (kind == "wav" && is_named) return sink_choice{open_wav_sink, name};
    if (kind == "alsa") return sink_choice{open_alsa_sink, is_named ? name : "default"};
    if (kind == "null" && !is_named)
        return sink_choice{[](const std::string &, int rate) { return open_null_sink(rate); }, {}};
    return std::nullopt;
}

} // namespace

std::unique_ptr<sink> open_chosen_sink(int rate)
{
    const auto text = chosen_audio().get().value_or("alsa");
    const auto choice = parse_choice(text);
    if (!choice)
        throw failure{kDeviceNotOpened, "TONELINK_AUDIO is \"" + text +
                                            "\"; it can be wav:PATH, alsa, alsa:DEVICE or null"};
    return choice->open(choice->name, rate);
}

} // namespace tonelink::host

using namespace tonelink::host;

int tonelink_host_set_audio(const char *choice)
{
    return at_boundary([&] {
        if (choice != nullptr && !parse_choice(choice)) return kInvalidParameter;
        chosen_audio().set(choice);
        return kOk;
    });
}
