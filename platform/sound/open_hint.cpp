#include "sound/open_hint.h"

#include <cerrno>

namespace tonelink::sound {

std::string open_hint(int error)
{
    switch (-error) {
    case ECONNREFUSED:
    case ECONNRESET:
    case EHOSTDOWN:
        return "no sound server runs for this user: start PulseAudio or PipeWire (with "
               "pipewire-pulse), or name a card, as in hw:0";
    case EACCES:
    case EPERM:
        return "this user may not use it: be in the group audio, or at the machine's own screen";
    case EBUSY:
        return "another program has it, mostly the sound server: take the server's device (pulse "
               "or pipewire), or end that program (fuser -v /dev/snd/* names it)";
    default: return "";
    }
}

} // namespace tonelink::sound
