/**
 * @file
 * What the library expects of the platform's audio output: a mono output of signed 16-bit samples,
 * fed by blocking writes or from the platform's own callback.
 *
 * Results are 0 or a negative code unless said otherwise:
 *
 * | code                   | meaning                                                            |
 * |------------------------|--------------------------------------------------------------------|
 * | -22                    | an argument is unusable, or the handle null or no longer an output |
 * | -12                    | no memory, or no thread can be had                                 |
 * | -38                    | not in this state of the output                                    |
 * | -26214399 (0xFE700001) | the device cannot be opened, or has failed                         |
 * | -26214398 (0xFE700002) | the device is still in use by another output                       |
 * | -26214397 (0xFE700003) | no buffer, or not whole samples                                    |
 * | -26214396 (0xFE700004) | the sound policy refuses; never so on the host platform            |
 *
 * Every call with a null handle returns -22 and does nothing. All calls may be made from any
 * thread. Inside the stream callback an output may be written and its callback removed; the other
 * calls on it return -38 there.
 */
#ifndef TONELINK_PLATFORM_AUDIO_OUT_H
#define TONELINK_PLATFORM_AUDIO_OUT_H

#include <stddef.h>

#include "export.h"
#include "sound_manager.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An audio output. */
typedef struct audio_out_s *audio_out_h;

/**
 * Called on the device's own thread, again and again, whenever the output wants data.
 * @param nbytes  how much it wants (host platform: 10 ms of sound). It takes more as well, or none;
 *                a call that has written nothing is followed by the next 10 ms later.
 */
typedef void (*audio_out_stream_cb)(audio_out_h out, size_t nbytes, void *user_data);

/**
 * Makes an output, not yet prepared.
 * @param rate         samples a second, 8000 to 192000
 * @param channel      128: mono
 * @param sample_type  113: signed 16 bits, in the byte order of the machine
 * @param out          receives the output, to be given back with audio_out_destroy()
 * @return -22 for another format, with nothing stored
 */
TONELINK_PLATFORM_API int audio_out_create_new(int rate, int channel, int sample_type,
                                               audio_out_h *out);

/**
 * Binds the output to a stream information object, which must live as long as the output.
 * @return -22 for an object that does not exist, -38 while the output is prepared
 */
TONELINK_PLATFORM_API int audio_out_set_sound_stream_info(audio_out_h out,
                                                          sound_stream_info_h info);

/**
 * Opens the device and starts it. A stream callback may run before this returns.
 * @return -38 when it is prepared already; a code of the device when that cannot be opened
 */
TONELINK_PLATFORM_API int audio_out_prepare(audio_out_h out);

/**
 * Stops the device; what has been written is played out first. No stream callback runs when this
 * returns, and a write that was waiting has returned with the part that was taken.
 * @return -38 when it is not prepared
 */
TONELINK_PLATFORM_API int audio_out_unprepare(audio_out_h out);

/** Releases the output; one that is prepared is stopped first, as by audio_out_unprepare(). */
TONELINK_PLATFORM_API int audio_out_destroy(audio_out_h out);

/**
 * Writes `bytes` bytes of samples; returns when the device has taken them, at the pace of its rate:
 * its buffer holds some tens of milliseconds. Writes of several threads follow one another whole.
 * @return bytes written (fewer only when the output was stopped meanwhile); -26214397 for a null
 *         buffer or an odd number of bytes, -38 when it is not prepared, or a code of the device
 */
TONELINK_PLATFORM_API int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes);

/**
 * Sets the callback that feeds the output in place of writes from outside. A callback set before is
 * replaced, once no call of it is running.
 * @return -22 for a null callback
 */
TONELINK_PLATFORM_API int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback,
                                                  void *user_data);

/**
 * Removes the callback; returns only when no callback is running any more. From inside the callback
 * it returns at once, and the running call is the last.
 * @return -38 when none is set
 */
TONELINK_PLATFORM_API int audio_out_unset_stream_cb(audio_out_h out);

#ifdef __cplusplus
}
#endif

#endif
