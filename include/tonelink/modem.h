/**
 * @file
 * The SNFC modem: messages of 32 or 48 bits as bursts of near-ultrasonic sound, and back.
 *
 * A message is a row of bytes, one per bit, each 0 or 1, bit 0 first. A burst is 23170 mono samples
 * of 16 bits; at 44100 Hz it lasts 525.4 ms and fills the band from 18.07 to 20.14 kHz.
 *
 * Result codes: 1 success, -2 no modem state (or, for open_snfc(), one already), -3 a message
 * length other than 32 or 48, -4 no memory.
 *
 * Threads: each modem state is used by one thread at a time; different ones at once. Two band
 * shifters serve them all, one for bursts and one for what is received, and are locked while one
 * uses them, never during a pause. So one state may receive while others make bursts; but two
 * streams that are received at once spoil each other, as each goes on from where the other has left
 * the shifter, and a burst is the first one of a new state only where no other makes one between.
 * Band shifters and transforms of a caller's own are one thread's at a time.
 */
#ifndef TONELINK_MODEM_H
#define TONELINK_MODEM_H

#include <stdint.h>

#include "export.h"
#include "toolkit.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Sine table and transforms ------------------------------------------------------------ */

/**
 * Three quarters of a sine period of 8192 entries, Q15: the nearest integer to
 * 32768 sin(2 pi i / 8192), at most 32767. Entry i + 2048 is the cosine of entry i.
 */
TONELINK_DATA const int16_t Sinewave[6144];

/**
 * In-place transform of n = 2^m complex points, radix 2, block floating point: each stage at whose
 * start some part exceeds 14000 in magnitude halves all data. Results keep their low 16 bits.
 * @param re       n real parts
 * @param im       n imaginary parts
 * @param m        0 to 13
 * @param inverse  0: kernel e^(-j 2 pi k t / n); other values: e^(+j 2 pi k t / n). No factor 1/n
 * @return the block exponent s: the true result is the returned data times 2^s. -1 with the data
 *         untouched when m is out of range
 */
TONELINK_API int32_t fix_fft(int16_t *re, int16_t *im, int16_t m, int16_t inverse);

/** fix_fft() with the inverse kernel and halving above 16383 instead of 14000. */
TONELINK_API int32_t fix_ifft(int16_t *re, int16_t *im, int16_t m);

/**
 * Makes the 128 real samples of a symbol from its 64 subcarriers:
 * x[t] = 2^-s times the sum over k of Re X[k] cos(2 pi k t / 128) + Im X[k] sin(2 pi k t / 128).
 * @param spectrum  64 subcarriers
 * @param samples   room for at least 128 samples, which may be where the subcarriers are; its
 * length stays as it is
 * @return the block exponent s
 */
TONELINK_API int32_t snfc_ifft_fxp(const cvec16 *spectrum, vec16 *samples);

/**
 * Makes 64 subcarriers from 128 real samples: subcarrier k is 2^-s times the sum over t of
 * x[t] e^(+j 2 pi k t / 128), the conjugate of the usual forward transform; it undoes
 * snfc_ifft_fxp() up to a power of two.
 * @param samples   128 samples; a vector of another length gets 128 zeros first
 * @param spectrum  is given 64 subcarriers
 * @return the block exponent s, or -1 when there is no memory for either vector
 */
TONELINK_API int32_t snfc_fft_fxp(vec16 *samples, cvec16 *spectrum);

/* ---- Band shifter ------------------------------------------------------------------------- */

/**
 * A single-sideband frequency shifter for a stream of 16-bit audio: a Hilbert transformer of 129
 * taps, the matching delay and an oscillator on Sinewave. Opened by openBandShift(). A caller may
 * change the fields as long as they keep their ranges, and point `coef` to 129 coefficients of its
 * own; the library's own setting is shifted fastest.
 */
typedef struct BandShiftInfo {
    int32_t freq;        /**< nominal shift in Hz; its sign is the direction */
    int32_t step;        /**< oscillator increment a sample, in entries of the 8192-entry period */
    int32_t half;        /**< 1: table values as they stand, 0: negated */
    int32_t phase;       /**< position in the current half period, 0 to 4095 */
    int32_t ntaps;       /**< 129 */
    vec16 delay;         /**< the last 64 input samples, oldest first: what is mixed next */
    vec16 history;       /**< 129 entries: the last 128 input samples, oldest first, newest twice */
    const int16_t *coef; /**< the Hilbert coefficients, Q15 */
} BandShiftInfo;

/** The shifter that bursts go through: 1841.09 Hz down. Open while a modem state is. */
TONELINK_DATA BandShiftInfo sInfoTx;

/** The shifter that received audio goes through: 1841.09 Hz up. Open while a modem state is. */
TONELINK_DATA BandShiftInfo sInfoRx;

/**
 * Opens a shifter with zero phase and silent histories, in fresh storage: storage that the record
 * held before is not released. Without memory the record is left closed (`history` empty).
 * @param freq  nominal shift in Hz at 44100 Hz. The shift made is `step` x 44100 / 8192 Hz with
 *              `step` = floor(|freq| x 8192 / 44100); positive is up, 0 and negative is down
 */
TONELINK_API void openBandShift(BandShiftInfo *info, int32_t freq);

/**
 * Shifts a block of audio by the record's frequency, in place. A stream may come in blocks of any
 * size: the result does not depend on where it is cut.
 * @param samples  `count` samples, mono; delayed by 64 samples on return
 * @param count    number of samples; 0 or less changes nothing
 * @param info     opened by openBandShift(); a closed record leaves samples and record as they are
 * Threads: one at a time per record.
 */
TONELINK_API void makeBandShift(int16_t *samples, int32_t count, BandShiftInfo *info);

/** Releases the record's storage; it must be opened again before it shifts. */
TONELINK_API void closeBandShift(BandShiftInfo *info);

/* ---- Modem state -------------------------------------------------------------------------- */

/**
 * All that one modem keeps between calls. Made by open_snfc(), released by close_snfc(); the record
 * owns its containers. A caller may set `spectral_inversion` and `invert_phase`, which nothing else
 * changes after the open; the other fields are for reading.
 */
typedef struct snfc_state {
    int32_t spectral_inversion; /**< not 0: every second sample is negated, which mirrors the
                                     spectrum: in bursts before their band shift, in received
                                     audio after it. 0: neither is, and bursts lie elsewhere */
    bvec last_message;          /**< message bits of the burst held in `burst_samples` */
    vec16 burst_samples;        /**< the last burst, 23170 samples */
    int32_t fft_fill;           /**< samples held in `fft_input` */
    int32_t invert_phase;       /**< which samples the receiver negates, counted from 0 in each
                                     block: 0: 1, 3, 5, ...; not 0: 0, 2, 4, ..., which turns the
                                     sign of the audio and so changes little */
    int32_t decim_phase;        /**< decimation phase, 0 to 9 */
    int32_t rx_status;          /**< of the last call: -1 nothing, 0 a repeat, 1 a new message */
    bvec msg_bytes;             /**< the last message decoded, first bit in the top bit of byte 0 */
    bvec msg_bits;              /**< the last message decoded, a bit per byte */
    bvec prev_msg_bytes;        /**< `msg_bytes` of the last message that was new */
    int32_t repeat_count;       /**< how often in a row the current message was decoded */
    int32_t decode_count;       /**< successful decodes since open */
    vec16 dns_delay;         /**< 37 entries: delay line of the decimation filter, newest first */
    vec16 fft_input;         /**< 128 entries: samples at 4410 Hz for the next transform */
    cvec16 spectrum_history; /**< 271 frames of the 61 subcarriers 2 to 62, oldest first */
    vec16 exponent_history;  /**< block exponent of each of these frames */
    int16_t agc_gain;        /**< receive gain in Q8 */
    vec32 results;           /**< detection records of the last call, 4 words each */
} snfc_state;

/**
 * Opens a modem state and, afresh, both band shifters. A second state may be open at the same time;
 * it shares the shifters, which are released with the last state closed.
 * @param state  address of a null pointer, which receives the state
 * @return 1; -2 when `*state` is set already; -4 without memory. A failure changes nothing
 */
TONELINK_API int32_t open_snfc(snfc_state **state);

/**
 * Releases a state, its burst and its messages, and sets `*state` to null. With the last state of
 * open_snfc() both shifters are closed, too.
 * @return 1, or -2 when `*state` is null
 */
TONELINK_API int32_t close_snfc(snfc_state **state);

/**
 * Clears the receiver for a new search: status, stream histories and the memory of the previous
 * message, so that the next message heard is new. The last message and its bits, `decode_count`,
 * the records of the last call, the gain, both shifters and all of the transmit side stay.
 * @return 1, or -2 when `*state` is null
 */
TONELINK_API int32_t reset_snfc(snfc_state **state);

/**
 * Hands out the last message decoded, which a reset and calls that hear nothing leave as it is.
 * @param bits_out    receives a pointer to the message bits, which stays the state's and is valid
 *                    until the next message or the close
 * @param length_out  receives their number, 32 or 48
 * @return `rx_status` (-1 nothing, 0 a repeat, 1 a new message in the last call); -1 with nothing
 *         stored when `*state` is null or no message has been decoded
 */
TONELINK_API int32_t check_snfc(snfc_state **state, uint8_t **bits_out, int32_t *length_out);

/* ---- Burst generator ---------------------------------------------------------------------- */

/**
 * Makes the burst of a message, or hands out the one it holds when the message is the same as in
 * the last call. Bursts of one state follow each other through the transmit band shifter, so the
 * same message after another gives other samples than the first time.
 * @param state       address of an open state
 * @param bits        `nbits` bytes, each 0 or 1
 * @param nbits       32 or 48
 * @param burst_out   receives the address of the samples. They stay the state's: valid until the
 * next burst or the close, never to be freed. A caller may change them in place
 * @param length_out  receives the address of their number, 23170
 * @return 1; -2 when `*state` is null; -3 for another `nbits`; -4 without memory, after which the
 *         state holds an empty burst. Nothing is stored unless the result is 1
 */
TONELINK_API int32_t get_burst_snfc(snfc_state **state, const uint8_t *bits, int32_t nbits,
                                    int16_t **burst_out, int32_t **length_out);

/* ---- Receiver ----------------------------------------------------------------------------- */

/**
 * Looks for bursts in the next block of received audio. Consecutive blocks make up one stream: a
 * burst may lie across any number of them. A burst is found at a run of positions, 80 samples
 * apart; each gives a record of four words, so that a burst and every repetition of it gives some
 * ten to fifteen.
 *
 * Word 0: 1 for a message that differs from the one before, 0 for a repeat. Words 1 and 2: the high
 * and the low 32 bits of the message's value, bit 0 being its most significant. Word 3: index in
 * this block of the sample with which the burst was complete.
 *
 * The call sleeps 1.5 s before its first sample and before sample `count` / 2; for an odd `count`
 * also before the last (for a `count` of 1 once). Blocks should have even lengths: after an odd one
 * the receiver takes the stream for another, and a burst that lies across is likely to be missed.
 * @param state               address of an open state
 * @param samples             `count` samples, mono, 44100 Hz; not changed
 * @param count               number of samples; with 0 or less nothing is received
 * @param results_out         receives the address of the records, null when there are none
 * @param results_length_out  receives the address of their number of words, 4 a record. Both stay
 *                            the state's and are valid until the next call or the close
 * @param nbits               length of the messages to look for, 32 or 48
 * @return 1 when a new message was heard, 0 when only repeats were, -1 when nothing was; -2 when
 *         `*state` is null; -3 for another `nbits`; -4 without memory. After -2, -3 and -4 nothing
 *         is stored and the stream has not moved on
 *
 * Threads: one at a time in the process, as all states share sInfoRx.
 */
TONELINK_API int32_t receiver_snfc(snfc_state **state, const int16_t *samples, int32_t count,
                                   int32_t **results_out, int32_t **results_length_out,
                                   int32_t nbits);

#ifdef __cplusplus
}
#endif

#endif
