// The sound devices of this machine: those of its sound server, and those that ALSA tells of.
#pragma once

#include <string>
#include <vector>

namespace tonelink::sound {

struct listed_device {
    std::string name;        ///< as ALSA opens it
    std::string description; ///< for people, in one line; may be empty
    bool plays, hears;
    bool is_default = false;   ///< the sound server's
    unsigned int rate = 0;     ///< samples a second, where a server tells it
    bool cancels_echo = false; ///< takes out what is played, as far as a server tells
};

/// ALSA's `default`, then the sinks and sources of a sound server as "pulse:NAME", then what else
/// ALSA tells of. Plug-ins that only convert, and devices of which nothing is heard, are left out.
std::vector<listed_device> list_devices();

} // namespace tonelink::sound
