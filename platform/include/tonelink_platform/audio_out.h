/**
 * @file
 * What the library expects of the platform's audio output: a mono output of signed 16-bit samples, fed
 * by blocking writes or from the platform's own callback.
 *
 * Results are 0 or a negative code unless said otherwise; every call with a null handle returns -22
 * and does nothing.
 */
#ifndef TONELINK_PLATFORM_AUDIO_OUT_H
#define TONELINK_PLATFORM_AUDIO_OUT_H

#include <stddef.h>

#include "sound_manager.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An audio output. */
typedef struct audio_out_s *audio_out_h;

/** Called on the device's own thread whenever the output wants data; `nbytes` says how much. */
typedef void (*audio_out_stream_cb)(audio_out_h out, size_t nbytes, void *user_data);

/**
 * Makes an output, not yet prepared.
 * @param rate         samples a second
 * @param channel      128: mono
 * @param sample_type  113: signed 16 bits, little-endian
 * @param out          receives the output, to be given back with audio_out_destroy()
 */
int audio_out_create_new(int rate, int channel, int sample_type, audio_out_h *out);

/** Binds the output to a stream information object, which must live as long as the output. */
int audio_out_set_sound_stream_info(audio_out_h out, sound_stream_info_h info);

/** Opens the device and starts it. A stream callback may run before this returns. */
int audio_out_prepare(audio_out_h out);

/** Stops the device; what has been written is played out first. */
int audio_out_unprepare(audio_out_h out);

/** Releases the output. */
int audio_out_destroy(audio_out_h out);

/**
 * Writes `bytes` bytes of samples; returns when the device has taken them, at the pace of its rate.
 * @return bytes written, or a negative code
 */
int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes);

/** Sets the callback that feeds the output in place of writes from outside. */
int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data);

/** Removes the callback; returns only when no callback is running any more. */
int audio_out_unset_stream_cb(audio_out_h out);

#ifdef __cplusplus
}
#endif

#endif
