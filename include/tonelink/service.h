/**
 * @file
 * The service: one transmission a process, with the volumes looked after and everything put back.
 *
 * A start composes the message, makes its burst, saves the volume of sound type 1, puts a floor
 * under the ultrasound's volume while the master volume is low, plays, and follows the user's
 * master volume; a stop undoes all of it. Two players serve two families of calls: the plain ones a
 * writer thread, the _async ones and start_audiodata_transmission() the audio output's own
 * callback.
 *
 * Results of every start: 1 started; 0 a transmission runs already, or another thread is starting
 * or stopping one or setting the sample rate, or the player did not start; -1 refused: unsupported
 * packet type, a master volume of 0, or no message could be made. A start that does not return 1
 * leaves nothing running. But where the player did not start, a floor that the start has set stays
 * until get_set_tv_volume() finds another master volume or the next transmission is stopped.
 *
 * Results of every stop: 1 stopped; 0 nothing was running, or the player failed while stopping, in
 * which case everything is released and put back all the same. Either stop ends either family's
 * transmission.
 *
 * What the platform refuses to give up stays, does nothing any more, and is tried again by the next
 * start that plays and, where the platform may still call back, by each start and stop.
 *
 * Threads: all functions from any number of threads. There is one transmission: a start that meets
 * another thread's start, stop or set_tx_sample_rate() does not wait and returns 0, even if that
 * one then fails; a stop waits. A start that prepares its own message sends that one, whatever
 * others prepare meanwhile. Where another thread is in get_set_tv_volume(), a stop may leave the
 * floor's removal to it. The platform must not call a stop from inside one of its own functions or
 * callbacks: a stop waits for the threads that are in them.
 */
#ifndef TONELINK_SERVICE_H
#define TONELINK_SERVICE_H

#include <stdint.h>

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Transmission ------------------------------------------------------------------------- */

/** Sends a fresh random PIN with the machine's Bluetooth address, 32 bits, by the writer thread. */
TONELINK_API int32_t start_audio_transmitting(void);

/**
 * Sends a message by the writer thread: the one prepared (payload.h), or a fresh random PIN with
 * the Bluetooth address when none is.
 * @param packet_type  1: 32 bits, 2: 48 bits
 */
TONELINK_API int32_t start_audio_transmitting_type(int32_t packet_type);

/** Ends a transmission. */
TONELINK_API int32_t stop_audio_transmitting(void);

/** start_audio_transmitting() by the stream callback. */
TONELINK_API int32_t start_audio_transmitting_async(void);

/** start_audio_transmitting_type() by the stream callback. */
TONELINK_API int32_t start_audio_transmitting_async_type(int32_t packet_type);

/**
 * Prepares application data as format_msgm() does and sends it by the stream callback. The prepared
 * message is replaced even when the start is refused.
 * @param data         `length` bytes: 4 for packet type 1, 6 for packet type 2
 * @param packet_type  1 or 2
 */
TONELINK_API int32_t start_audiodata_transmission(const uint8_t *data, int32_t length,
                                                  int32_t packet_type);

/** Ends a transmission. */
TONELINK_API int32_t stop_audio_transmitting_async(void);

/**
 * Sets the sample rate of transmissions from the next start on; 44100 Hz at first. It is not
 * checked. Bursts are made for 44100 Hz: at another rate they are higher or lower and no phone
 * hears them.
 * @return 1, or 0 with nothing changed while transmitting, starting or stopping
 */
TONELINK_API int32_t set_tx_sample_rate(int32_t rate);

/* ---- Volume ------------------------------------------------------------------------------- */

/** The master volume, or -1 when it cannot be read. */
TONELINK_API int32_t get_tv_volume(void);

/** Sets the master volume; a failure is logged. */
TONELINK_API void set_tv_volume(int32_t volume);

/**
 * Puts a floor of 10 under the ultrasound's volume when the master volume is 1 to 9, and takes it
 * away when the master volume is 0 or at least 10. Failures are logged, and tried again the next
 * time.
 */
TONELINK_API void get_set_tv_volume(void);

/** 1 when the system information says that this is an AV product, else 0. Read afresh every time.
 */
TONELINK_API int32_t IsAVProduct(void);

/* ---- Managed entry points ----------------------------------------------------------------- */

/** start_audio_transmitting_async_type() with packet type 2 for 2 and 1 for any other. */
TONELINK_API int32_t start_audio_transmitting_async_type_managed(int32_t packet_type);

/** start_audiodata_transmission() with packet type 2 for 2 and 1 for any other. */
TONELINK_API int32_t start_audiodata_transmission_managed(const uint8_t *data, int32_t length,
                                                          int32_t packet_type);

/** stop_audio_transmitting_async(). */
TONELINK_API int32_t stop_audio_transmitting_async_managed(void);

/** set_pin_in_ultrasound(). */
TONELINK_API void set_pin_in_ultrasound_managed(int32_t pin, const char *address);

/** set_tx_sample_rate(). */
TONELINK_API int32_t set_tx_samplerate_managed(int32_t rate);

/*
 * There is no receiving service: these only log that they were called. A caller that decodes uses
 * receiver_snfc() of modem.h.
 */

/** Returns 0. */
TONELINK_API int32_t start_audiodata_receiving_managed(void);
/** Returns 0. */
TONELINK_API int32_t stop_audiodata_receiving_managed(void);
/** Does nothing. */
TONELINK_API void set_audio_receivingcb_managed(void);
/** Returns 0: never running. */
TONELINK_API int32_t tonelink_rx_is_running_managed(void);
/** Returns 1. */
TONELINK_API int32_t audio_rx_from_buffer_managed(void);

#ifdef __cplusplus
}
#endif

#endif
