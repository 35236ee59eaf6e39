// What transmission control asks of the volume policy. Lines are logged in the name of `caller`.
#pragma once

#include "tonelink/service.h"

#include <cstdint>

namespace tonelink {

/// Saves the volume of sound type 1 for restore_volume().
void save_volume(const char *caller);
void restore_volume(const char *caller);
void forget_volumes();

/// Takes the floor away if it is the library's.
void remove_floor(const char *caller);

/// Has the user's master volume followed from now on; false when the sound manager refuses.
bool listen_to_master_volume();

/// Removes the listener or, when the sound manager refuses, mutes it.
void stop_listening();

/// Has a listener that stays registered do nothing until the next start. Waits for calls that are
/// under way, so that none of them changes a volume afterwards.
void mute_listener();

} // namespace tonelink

extern int32_t noti_reset_volume;       ///< volume of sound type 1 to put back
extern int32_t reset_volume;            ///< master volume that the floor rule read last
extern uint8_t is_ultra_volume_changed; ///< 1 while the floor is the library's

/// The listener: keeps sound type 1 and the floor in step with the user's master volume.
extern "C" void _sound_manager_master_volume_changed_cb(unsigned int volume, void *user_data);
