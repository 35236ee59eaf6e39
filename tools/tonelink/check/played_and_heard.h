// Plays the probe through a loudspeaker while a microphone listens, in one loop, so that both know
// the same time.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "check/path_verdict.h"
#include "errors.h"

namespace tonelink::tool {

struct check_devices {
    std::optional<std::string> output; ///< ALSA's names; none to leave a side out
    std::optional<std::string> input;
};

struct check_recording {
    recording heard;
    double output_rate = 0; ///< of the devices, samples a second; 0 where there is none
    double input_rate = 0;
    std::string output_warning, input_warning; ///< as the devices give them; mostly empty
};

/// A device that cannot be used, and of which side it is: no_output or no_input.
struct unusable_device : device_failure {
    unusable_device(path_reason which, const std::string &what)
        : device_failure{what}, reason{which}
    {
    }
    path_reason reason;
};

/// Opens the devices, plays and records. Throws unusable_device.
/// @param level_db    of the probe, in dBFS
/// @param seconds     how long is listened where nothing is played
/// @param progressed  is told how far it is, 0 to 1
check_recording play_and_hear(const check_devices &devices, double level_db, double seconds,
                              const std::function<void(double)> &progressed);

} // namespace tonelink::tool
