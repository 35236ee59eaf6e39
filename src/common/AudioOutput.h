// The audio output and the stream information that belongs to it.
#pragma once

#include "tonelink/transmit.h"

namespace tonelink {

/// Destroys an output made by audio_create() and, once it is gone, its stream information. All
/// outputs go this way. Returns the platform's code.
int32_t destroy_output(audio_out_h out);

/// Stop(), which tells whether the output is gone.
bool stop_output(audio_out_h out);

} // namespace tonelink
