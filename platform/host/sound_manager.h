// What the audio output asks of the sound manager.
#pragma once

namespace tonelink::host {

/// The highest level of every sound type: full scale.
constexpr int kHighestLevel = 15;

/// Level at which sound is heard now: that of sound type 1, or the floor where that is higher.
int heard_level() noexcept;

} // namespace tonelink::host
