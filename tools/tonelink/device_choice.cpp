#include "device_choice.h"

#include <algorithm>
#include <charconv>
#include <vector>

#include <nlohmann/json.hpp>

#include "errors.h"
#include "shown_text.h"

namespace tonelink::tool {
namespace {

/// A device with its number, which is the same for all commands.
struct numbered_device {
    std::size_t number;
    sound::listed_device device;

    bool serves(device_use use) const
    {
        return (use.plays && device.plays) || (use.hears && device.hears);
    }
};

std::vector<numbered_device> numbered_devices()
{
    std::vector<numbered_device> numbered;
    for (auto &device : sound::list_devices())
        numbered.push_back({numbered.size() + 1, std::move(device)});
    return numbered;
}

std::string direction_of(const sound::listed_device &device)
{
    return device.plays && device.hears ? "plays, hears" : device.plays ? "plays" : "hears";
}

/// Description, rate and whether it is the default one.
std::string remarks_on(const sound::listed_device &device)
{
    std::string remarks = device.description;
    const auto add = [&](const std::string &remark) {
        remarks += (remarks.empty() ? "" : ", ") + remark;
    };
    if (device.rate > 0) add(std::to_string(device.rate) + " Hz");
    if (device.is_default) add("the default one");
    return shown(remarks);
}

std::string text_of(const numbered_device &listed, std::size_t name_width, bool has_direction)
{
    const sound::listed_device &device = listed.device;
    std::string line = joined(0, std::setw(3), listed.number, "  ", std::left,
                              std::setw(static_cast<int>(name_width)), shown(device.name));
    if (has_direction) line += joined(0, "  ", std::left, std::setw(12), direction_of(device));
    return line + "  " + remarks_on(device) + '\n';
}

std::string json_of(const numbered_device &listed)
{
    const sound::listed_device &device = listed.device;
    json_object object{
        {"number", listed.number}, {"device", device.name}, {"description", device.description},
        {"plays", device.plays},   {"hears", device.hears}, {"default", device.is_default}};
    if (device.rate > 0) object["rate"] = device.rate;
    return line_of(object);
}

const char *verb_of(device_use use)
{
    return !use.plays ? "hears" : !use.hears ? "plays" : "plays or hears";
}

} // namespace

void add_device_options(CLI::App &command, device_options &options)
{
    command
        .add_option("--device", options.device,
                    "The sound device, by its name or number in --list-devices")
        ->type_name("DEVICE");
    command.add_flag("--list-devices", options.lists,
                     "List the sound devices that can be used, and do nothing else");
}

void print_devices(device_use use, report_form form)
{
    std::vector<numbered_device> devices = numbered_devices();
    std::erase_if(devices, [&](const numbered_device &listed) { return !listed.serves(use); });
    if (devices.empty())
        throw device_failure{std::string{"there is no sound device that "} + verb_of(use) +
                             ": neither a sound server (PulseAudio, or PipeWire with "
                             "pipewire-pulse) answers this user, nor does ALSA tell of a card"};
    std::size_t width = 0;
    for (const auto &[number, device] : devices) width = std::max(width, shown(device.name).size());
    std::string text;
    for (const numbered_device &listed : devices)
        text += form == report_form::json ? json_of(listed)

                                          : text_of(listed, width, use.plays && use.hears);
    print(text);
}

chosen_device choose_device(const std::string &choice, device_use use)
{
    if (choice.empty()) throw wrong_usage{"--device is empty; --list-devices shows what is right"};
    const auto devices = numbered_devices();
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(choice.data(), choice.data() + choice.size(), number);
    const bool is_number = error == std::errc{} && end == choice.data() + choice.size();
    const auto found = std::ranges::find_if(devices, [&](const numbered_device &listed) {
        return is_number ? listed.number == number : listed.device.name == choice;
    });
    if (found == devices.end() && is_number)
        throw wrong_usage{"--device " + choice + " is not right: --list-devices shows what is"};
    if (found == devices.end()) return {choice, {true, true}};
    if (!found->serves(use))
        throw wrong_usage{"--device '" + found->device.name + "' is not right: it only " +
                          direction_of(found->device) + "; --list-devices shows what is right"};
    return {found->device.name, {found->device.plays, found->device.hears}};
}

bool cancels_echo(const std::string &name)
{
    const bool is_default = name == "default" || name == "pulse" || name == "pipewire";
    return std::ranges::any_of(sound::list_devices(), [&](const sound::listed_device &device) {
        const bool is_meant = is_default ? device.is_default : device.name == name;
        return device.hears && device.cancels_echo && is_meant;
    });
}

std::optional<std::string> alsa_name_of(const std::string &choice)
{
    constexpr std::string_view kPrefix = "alsa:";
    if (choice == "alsa") return "default";
    if (choice.starts_with(kPrefix) && choice.size() > kPrefix.size())
        return choice.substr(kPrefix.size());
    return std::nullopt;
}

} // namespace tonelink::tool
