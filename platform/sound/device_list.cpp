#include "sound/device_list.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>

#include "sound/alsa_library.h"
#include "sound/sound_server.h"

namespace tonelink::sound {

namespace {

/// What ALSA's own configuration tells of that is no device by itself.
constexpr std::array kNoDevices{"null",  "samplerate", "speexrate", "lavrate",  "speex",
                                "upmix", "vdownmix",   "oss",       "usbstream"};

/// A name without its arguments: "hw" of "hw:CARD=PCH,DEV=0".
std::string_view kind_of(std::string_view name) { return name.substr(0, name.find(':')); }

struct free_hints {
    void operator()(void **hints) const { snd_device_name_free_hint(hints); }
};
struct free_text {
    void operator()(char *text) const { std::free(text); }
};
using hint_text = std::unique_ptr<char, free_text>;

std::string text_of(const void *hint, const char *id)
{
    const hint_text text{snd_device_name_get_hint(hint, id)};
    return text ? text.get() : "";
}

/// ALSA's descriptions have several lines.
std::string in_one_line(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\n', at)) != std::string::npos; at += 2)
        text.replace(at, 1, ", ");
    return text;
}

std::vector<listed_device> alsa_devices()
{
    const alsa_message_filter filter;
    std::vector<listed_device> devices;
    void **hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0) return devices;
    const std::unique_ptr<void *, free_hints> owner{hints};
    for (void **hint = hints; *hint != nullptr; ++hint) {
        const std::string name = text_of(*hint, "NAME"), direction = text_of(*hint, "IOID");
        if (name.empty() || std::ranges::count(kNoDevices, kind_of(name)) > 0) continue;
        devices.push_back({.name = name,
                           .description = in_one_line(text_of(*hint, "DESC")),
                           .plays = direction != "Input",
                           .hears = direction != "Output"});
    }
    return devices;
}

std::vector<listed_device> server_devices()
{
    std::vector<listed_device> devices;
    for (const server_device &device : sound_server_devices()) {
        const bool is_sink = device.side == server_side::sink;
        devices.push_back({"pulse:" + device.name, device.description, is_sink, !is_sink,
                           device.is_default, device.rate, device.cancels_echo});
    }
    return devices;
}

} // namespace

std::vector<listed_device> list_devices()
{
    std::vector<listed_device> devices = alsa_devices();
    const auto others =
        std::stable_partition(devices.begin(), devices.end(),
                              [](const listed_device &device) { return device.name == "default"; });
    const auto of_server = server_devices();
    devices.insert(others, of_server.begin(), of_server.end());
    return devices;
}

} // namespace tonelink::sound
