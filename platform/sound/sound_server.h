// The rate of the desktop's sound server. Its ALSA plug-in takes every rate, and the server
// resamples what is not at its own, so that much of the bursts' band is lost: only the server can
// tell.
#pragma once

#include <optional>

namespace tonelink::sound {

enum class server_side { sink, source };

/// What a PipeWire server runs at unless it is set up otherwise.
constexpr unsigned int kPipeWireRate = 48000;

/// Samples a second of the default sink or source of the PulseAudio server, or PipeWire in its
/// place; none where neither answers within two seconds, or its client library is not on this
/// machine. Starts no server.
std::optional<unsigned int> sound_server_rate(server_side side);

} // namespace tonelink::sound
