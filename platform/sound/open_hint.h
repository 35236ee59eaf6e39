// What stands behind ALSA's reason for a device that does not open, on the machines that people
// have.
#pragma once

#include <string>

namespace tonelink::sound {

/// What to look at, as the end of a sentence: "no sound server runs: ...". Empty where ALSA's
/// reason says it all.
/// @param error  a negative result of ALSA's
std::string open_hint(int error);

} // namespace tonelink::sound
