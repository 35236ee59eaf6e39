/**
 * @file
 * What the library expects of the platform's sound manager: stream information, volumes, the floor
 * under the ultrasound's volume, and news of the master volume.
 *
 * Results are 0 or a negative code.
 */
#ifndef TONELINK_PLATFORM_SOUND_MANAGER_H
#define TONELINK_PLATFORM_SOUND_MANAGER_H

#ifdef __cplusplus
extern "C" {
#endif

/** What a stream is for: decides which volume and which route it gets. */
typedef struct sound_stream_info_s *sound_stream_info_h;

/**
 * Makes stream information.
 * @param type       3: notification
 * @param callback   told of changes of focus; may be null
 * @param user_data  handed to the callback
 * @param info       receives the object, to be given back with the call below
 */
int sound_manager_create_stream_information(int type, void *callback, void *user_data,
                                            sound_stream_info_h *info);

/** Releases stream information. */
int sound_manager_destroy_stream_information(sound_stream_info_h info);

/** Volume of a sound type, in the platform's steps. */
int sound_manager_get_volume(int type, int *volume);
int sound_manager_set_volume(int type, int volume);
int sound_manager_get_max_volume(int type, int *volume);

/** Master volume, 0 to 100, that the user turns. */
int sound_manager_get_master_volume(int *volume);
int sound_manager_set_master_volume(int volume);

/** Master volume of the television's own loudspeakers. */
int sound_manager_get_tv_master_volume(int *volume);

/** Floor under the volume of ultrasound, and its removal. */
int sound_manager_set_ultrasound_volume_min(int volume);
int sound_manager_unset_ultrasound_volume_min(void);

/** Told of each new master volume, on the sound manager's own thread. */
typedef void (*sound_manager_master_volume_changed_cb)(unsigned int volume, void *user_data);

/** Sets the one listener of the process. */
int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                               void *user_data);

/** Removes the listener; returns only when it is not running any more. */
int sound_manager_unset_master_volume_changed_cb(void);

#ifdef __cplusplus
}
#endif

#endif
