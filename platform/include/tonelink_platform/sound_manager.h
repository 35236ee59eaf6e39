/**
 * @file
 * What the library expects of the platform's sound manager: stream information, volumes, the floor
 * under the ultrasound's volume, and news of the master volume.
 *
 * Results are 0 or a negative code: -22 for an argument that is unusable or out of range, with
 * nothing changed or stored; -38 for what cannot be done in this state; -12 for no memory. All
 * calls may be made from any thread.
 *
 * The host platform keeps its volumes in the process. They start at: master volume 20, every sound
 * type 8, no floor. The level of sound type 1 alone changes what is heard: see
 * tonelink_platform/host.h.
 */
#ifndef TONELINK_PLATFORM_SOUND_MANAGER_H
#define TONELINK_PLATFORM_SOUND_MANAGER_H

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What a stream is for: decides which volume and which route it gets. */
typedef struct sound_stream_info_s *sound_stream_info_h;

/**
 * Makes stream information.
 * @param type       3: notification (host platform: any from 0 to 15, without difference)
 * @param callback   told of changes of focus; may be null (host platform: focus never changes)
 * @param user_data  handed to the callback
 * @param info       receives the object, to be given back with the call below
 */
TONELINK_PLATFORM_API int sound_manager_create_stream_information(int type, void *callback,
                                                                  void *user_data,
                                                                  sound_stream_info_h *info);

/** Releases stream information; -22 when there is no such object, -38 while an output is bound to
 * it. */
TONELINK_PLATFORM_API int sound_manager_destroy_stream_information(sound_stream_info_h info);

/** Volume of a sound type, in the platform's steps. Host platform: types 0 to 7, steps 0 to 15. */
TONELINK_PLATFORM_API int sound_manager_get_volume(int type, int *volume);
TONELINK_PLATFORM_API int sound_manager_set_volume(int type, int volume);
TONELINK_PLATFORM_API int sound_manager_get_max_volume(int type, int *volume);

/** Master volume, 0 to 100, that the user turns. */
TONELINK_PLATFORM_API int sound_manager_get_master_volume(int *volume);
TONELINK_PLATFORM_API int sound_manager_set_master_volume(int volume);

/** Master volume of the television's own loudspeakers. Host platform: the master volume. */
TONELINK_PLATFORM_API int sound_manager_get_tv_master_volume(int *volume);

/**
 * Floor under the volume of ultrasound, in steps of sound type 1: while it is set, what is played
 * sounds at least so loud, whatever that sound type's volume says; the volume itself does not
 * change.
 */
TONELINK_PLATFORM_API int sound_manager_set_ultrasound_volume_min(int volume);

/** Removes the floor; -38 when there is none. */
TONELINK_PLATFORM_API int sound_manager_unset_ultrasound_volume_min(void);

/** Told of each new master volume, in order, on the sound manager's own thread. */
typedef void (*sound_manager_master_volume_changed_cb)(unsigned int volume, void *user_data);

/**
 * Sets the one listener of the process; one set before is replaced, once it is not running any
 * more.
 * @return -22 for a null listener, -38 from inside the listener
 */
TONELINK_PLATFORM_API int
sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                           void *user_data);

/**
 * Removes the listener; returns only when it is not running any more, and news that it has not been
 * told yet are dropped. From inside the listener it returns at once, and the running call is the
 * last.
 * @return -38 when none is set
 */
TONELINK_PLATFORM_API int sound_manager_unset_master_volume_changed_cb(void);

#ifdef __cplusplus
}
#endif

#endif
