// The desktop's sound server: its devices, and their rates. Its ALSA plug-in takes every rate, and
// the server resamples what is not at its own, so that much of the bursts' band is lost: only the
// server can tell.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tonelink::sound {

enum class server_side { sink, source };

/// What a PipeWire server runs at unless it is set up otherwise.
constexpr unsigned int kPipeWireRate = 48000;

/// Samples a second of a sink or source of the PulseAudio server, or PipeWire in its place; none
/// where neither answers within two seconds, it knows no such device, or its client library is not
/// on this machine. Starts no server.
/// @param name  as the server calls it; empty for the default one
std::optional<unsigned int> sound_server_rate(server_side side, const std::string &name);

/// A sink or source of a sound server.
struct server_device {
    std::string name;        ///< as the server calls it
    std::string description; ///< for people
    server_side side;
    unsigned int rate; ///< samples a second
    unsigned int channels;
    bool is_default;
    bool cancels_echo; ///< takes out of what it hears what is played
};

/// All sinks, then all sources; none where no server answers, as above.
std::vector<server_device> sound_server_devices();

} // namespace tonelink::sound
