// The audio output and the stream information that belongs to it.
#pragma once

#include "tonelink/transmit.h"

namespace tonelink {

/// Destroys an output made by audio_create() and, once it is gone, its stream information. All
/// outputs go this way. Returns the platform's code.
int32_t destroy_output(audio_out_h out);

/// Initialize() and Stop(), which tell how it went: the platform's code of the create or destroy.
int32_t initialize_output(int32_t rate, audio_out_h *out);
int32_t stop_output(audio_out_h out);

/// Whether an output that audio_create() has made is still there.
bool is_alive(audio_out_h out);

/// Leaves an output that the platform has refused to destroy to destroy_left_outputs(), which tries
/// once more for each.
void leave_output(audio_out_h out);
void destroy_left_outputs();

} // namespace tonelink
