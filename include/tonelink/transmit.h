/**
 * @file
 * The transmit engine: a handle that ties a modem to the burst of one message, the players that
 * write the burst to the platform's audio output again and again, the output itself, and a
 * standalone transmitter beside them.
 *
 * A handle's life: the caller allocates the record, then tonelink_tx_open(), tonelink_tx_put_bin(),
 * tonelink_tx_generate(); a player, started and stopped as often as wanted; tonelink_tx_close();
 * the caller frees the record. The service (service.h) does all this for one transmission a
 * process.
 *
 * Operations on handles return one of these codes:
 *
 *     0   success
 *     1   the handle is null
 *     3   wrong state: a transmission is running, or none is
 *     4   bad argument
 *     5   the modem could not be opened
 *     6   no burst was made
 *     7   no burst to play
 *     8   the audio output failed
 *     9   the writer thread could not be created
 *     10  the handle is null (open, generate, starts and stops)
 *
 * Threads: each handle is used by one thread at a time, but for what its players do; different
 * ones at once. The standalone transmitter is used by any number of threads, its variables apart.
 * Band shifter and output filter serve all handles and are locked while a burst is made. The volume
 * of sound type 1 is saved and put back for one stream player at a time: of two, the user's may be
 * lost. The platform must not call a stop from inside one of its own functions or callbacks: a stop
 * waits for the threads that are in them.
 */
#ifndef TONELINK_TRANSMIT_H
#define TONELINK_TRANSMIT_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>

#include "export.h"
#include "modem.h"

#ifdef __cplusplus
extern "C" {
#endif

/** An audio output of the platform. */
typedef struct audio_out_s *audio_out_h;

/* ---- Transmitter handle ------------------------------------------------------------------- */

/**
 * All that one transmission holds. The fields are for reading; the caller owns the record. The
 * library keeps who plays the handle in the padding behind `keep_writing`: a record in use is not
 * to be copied.
 */
typedef struct tonelink_tx_h {
    pthread_t thread;      /**< the writer thread, while one is running */
    int32_t is_running;    /**< 1 while a player plays */
    snfc_state *modem;     /**< the modem, from open to close; the handle's own */
    int16_t *burst;        /**< the burst; the modem's own */
    uint8_t message[48];   /**< the message bits, one per byte, bit 0 first */
    int32_t *burst_length; /**< number of samples in `burst`; the modem's own */
    uint8_t keep_writing;  /**< the writer thread goes on while it is not 0 */
    audio_out_h audio_out; /**< the output, while a player is started */
    int32_t sample_rate;   /**< of the output, in Hz */
} tonelink_tx_h;

/**
 * Opens a handle with an empty message and the sample rate of set_tx_sample_rate().
 * @param handle  address of the pointer to the record, whose content does not matter
 * @return 0; 4 when `handle` is null; 10 when it points at null; 5 when the modem could not be
 * opened, after which the handle is closed
 */
TONELINK_API int32_t tonelink_tx_open(tonelink_tx_h **handle);

/**
 * Loads the message.
 * @param bits   `count` bytes, each 0 or 1
 * @param count  0 to 48; the rest of the message stays as it is
 * @return 0; 1 when `handle` is null; 4 when `bits` is null or `count` above 48
 */
TONELINK_API int32_t tonelink_tx_put_bin(tonelink_tx_h *handle, const uint8_t *bits,
                                         uint32_t count);

/**
 * Makes the burst of the first `nbits` message bits and sends it through the output filter, a
 * high-pass at 17 kHz whose histories run on from burst to burst. The same message again filters
 * the burst that the modem still holds once more.
 * @param nbits  32 or 48
 * @return 0; 10 when `handle` is null; 3 while a player has the handle; 6 for another `nbits`, on a
 *         closed handle or without memory, with the filter untouched
 */
TONELINK_API int32_t tonelink_tx_generate(tonelink_tx_h *handle, int32_t nbits);

/**
 * Sets the rate of the outputs that the handle's players open from now on. The burst does not
 * change: another rate than 44100 Hz moves it in time and in pitch.
 * @return 0; 1 when `handle` is null; 4 when `rate` is 0
 */
TONELINK_API int32_t tonelink_tx_set_samplerate(tonelink_tx_h *handle, uint32_t rate);

/**
 * Stops the writer thread if it plays the handle, takes down what a failed stop or a stream player
 * that never came to play has left, and closes the modem. The record stays the caller's.
 * @return 0, also for a handle closed already; 4 when `handle` is null; 1 when it points at null;
 * 3, changing nothing, when the stream player plays the handle; 3 as well while the platform
 * refuses to remove the callback and to destroy the output: the handle does nothing any more, but
 * it must be neither freed nor opened again, and a later close tries again
 */
TONELINK_API int32_t tonelink_tx_close(tonelink_tx_h **handle);

/* ---- Player: a writer thread -------------------------------------------------------------- */

/**
 * Opens an output and starts a thread that writes five copies of the burst at a time, with a pause
 * of 100 ms after each write. It sets the volume of sound type 1 by the master volume when it
 * begins and puts it back when it ends.
 * @return 0; 10 when `handle` is null; 3 while a player has the handle; 7 without a burst; 8 and 9
 * with everything taken down again
 */
TONELINK_API int32_t tonelink_tx_start(tonelink_tx_h *handle);

/**
 * Waits for the thread to finish its write and its pause, then closes the output.
 * @return 0; 10 when `handle` is null; 3 when the writer thread does not play the handle; 8 when
 * the output could not be closed: the thread has ended all the same, and the next start or close
 *         tries again
 */
TONELINK_API int32_t tonelink_tx_stop(tonelink_tx_h *handle);

/* ---- Player: the output's stream callback ------------------------------------------------- */

/**
 * Opens an output and arms it with _audio_io_stream_write_async_cb(). The handle is running
 * (`is_running` 1) from the first callback on.
 * @return 0; 10 when `handle` is null; 3 while a player has the handle; 7 without a burst; 8 with
 *         everything taken down again
 */
TONELINK_API int32_t tonelink_tx_start_async(tonelink_tx_h *handle);

/**
 * Removes the callback, closes the output, and puts the volume of sound type 1 back.
 * @return 0; 10 when `handle` is null; 3 when the stream player does not play the handle, or is
 * armed and has not begun: it stays armed; 8 when the output could not be closed: callbacks do
 *         nothing any more, the volume is not put back, and the next start or close tries again
 */
TONELINK_API int32_t tonelink_tx_stop_async(tonelink_tx_h *handle);

/**
 * tonelink_tx_close() without the stop.
 * @return 0; 4 when `handle` is null; 1 when it points at null; 3, changing nothing, when the
 * handle is running, and 3 as for tonelink_tx_close()
 */
TONELINK_API int32_t tonelink_tx_close_async(tonelink_tx_h **handle);

/**
 * The stream callback: writes five copies of the burst, however much the output asks for. The first
 * one after a start sets the volume of sound type 1 by the master volume, in the ordinary product's
 * column.
 * @param user_data  the handle; null does nothing
 * Threads: the platform's audio thread.
 */
TONELINK_API void _audio_io_stream_write_async_cb(audio_out_h out, size_t nbytes, void *user_data);

/* ---- Audio output ------------------------------------------------------------------------- */

/**
 * Makes an output, mono and of signed 16-bit samples, for notifications; not yet prepared.
 * @param rate  samples a second
 * @param out   receives the output, to be given back with Stop(). A failure leaves it as it was, or
 *              with a value that is not to be used
 * @return 0, or the platform's code of what failed (-12 without memory)
 */
TONELINK_API int32_t audio_create(int32_t rate, audio_out_h *out);

/** audio_create() with more logging instead of a result: it leaves `*out` as audio_create() does.
 */
TONELINK_API void Initialize(int32_t rate, audio_out_h *out);

/** Opens the device and starts it; a failure is logged. */
TONELINK_API void Start(audio_out_h out);

/** Stops the device and releases the output, whether or not the device stopped; failures are
 * logged. */
TONELINK_API void Stop(audio_out_h out);

/** Writes `count` samples, none when it is below 0; a failure is logged. */
TONELINK_API void SubmitAudioBuffer(const int16_t *samples, int32_t count, audio_out_h out);

/** Name of a result code of the audio output; "NONE default case" for 0 and for unknown codes. */
TONELINK_API const char *convert_audio_io_error_to_string(int32_t code);

/* ---- Standalone transmitter --------------------------------------------------------------- */

/*
 * The variables below are the process's own: a program that is linked with the library reads and
 * writes the very ones that the library works with, whether it includes this header or declares
 * them itself. For that the loader resolves each name once for the whole process, and a definition
 * of the program's own would come first: the library would work with that. So a program must not
 * define anything with external linkage called buf, buf_length, output, m_samplerate,
 * transmit_count, transmitting_stopped, repeat_thread or, of modem.h, Sinewave, sInfoTx or sInfoRx.
 * Static and local variables of these names are free, and so are functions named like the library's
 * functions, as it calls its own. Linked statically, a second definition of any of the library's
 * names is refused by the linker.
 */

/** The samples that are sent: made by GenerateMessage(), which replaces them. Not to be freed. */
TONELINK_DATA int16_t *buf;
/** Number of samples in `buf`. */
TONELINK_DATA int32_t buf_length;
/** The output, from StartTransmitting() until it is closed; else null. */
TONELINK_DATA audio_out_h output;
/** The rate given to StartTransmitting() last, in Hz. */
TONELINK_DATA int32_t m_samplerate;
/** How often `buf` is to be written; 0 or less is without limit. */
TONELINK_DATA int32_t transmit_count;
/** 0 while transmitting, else 1. */
TONELINK_DATA int32_t transmitting_stopped;
/** The thread that writes, while transmitting. */
TONELINK_DATA pthread_t repeat_thread;

/**
 * Makes `buf`: the unfiltered burst of a 32-bit message, `repeat` times. A negative message sends
 * 32 zeros. Waits for the thread of a run that has just ended.
 * @return 1; 0 while transmitting (nothing changes), without memory or for a number of samples
 * beyond 32 bits (`buf` stays, `buf_length` is 0), and for a `repeat` below 1 (`buf` stays,
 *         `buf_length` is the product)
 */
TONELINK_API int32_t GenerateMessage(int32_t message, int32_t repeat);

/**
 * Opens an output and starts a thread that writes `buf` again and again, with a pause of 100 ms
 * after each write. Without an output or with nothing to send the thread runs all the same. What a
 * counted run has left open is closed first.
 * @param count  number of writes; 0 or less is until StopTransmitting()
 * @param rate   samples a second
 * @return 1, or 0 while transmitting already
 */
TONELINK_API int32_t StartTransmitting(int32_t count, int32_t rate);

/**
 * Waits for the thread to finish its write and its pause, and closes the output; one that the
 * platform refuses to give up is tried once more by the next start.
 * @return 1, or 0 when no transmission was running: after a counted run that ended by itself the
 *         output stays open until the next start
 */
TONELINK_API int32_t StopTransmitting(void);

/** The thread's body; returns null. */
TONELINK_API void *repeat_thread_func(void *unused);

/**
 * Splits a value into its binary digits, least significant first, those of a negative value being 0
 * and -1. Digits beyond the value's last are not written.
 * @param bits  room for 32 digits
 */
TONELINK_API void bitset(int32_t value, int32_t *bits);

#ifdef __cplusplus
}
#endif

#endif
