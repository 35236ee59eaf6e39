/**
 * @file
 * The receiver: hears the messages in a stream of sound, and says why when it hears none.
 *
 * It is a library of its own, `libtonelink-receiver`, which needs the C library and its mathematics
 * and nothing else: no platform, no thread, no log, no environment. A program opens a receiver for
 * its sample rate, pushes what a microphone or a file gives it, in blocks of any size, and takes
 * from it what was heard:
 *
 *     tonelink_receiver_settings settings = {.size = sizeof settings, .sample_rate = 48000};
 *     tonelink_receiver *receiver;
 *     if (tonelink_receiver_open(&settings, &receiver) != TONELINK_RECEIVER_OK) return 1;
 *     while ((frames = read_samples(samples)) > 0) {
 *         tonelink_receiver_push_s16(receiver, samples, frames, 1);
 *         tonelink_heard heard = {.size = sizeof heard};
 *         while (tonelink_receiver_next(receiver, &heard) == 1) use(&heard);
 *     }
 *     tonelink_receiver_close(receiver);
 *
 * All memory is taken by tonelink_receiver_open(). Nothing else allocates, takes a lock or calls
 * the system, and each block costs a bounded amount of work: a receiver can run on an audio thread.
 * What it hears and reports does not depend on how the stream is cut into blocks. Receivers are
 * independent of each other; each is used by one thread at a time.
 *
 * A frame is one moment of sound: one sample of each channel. Places in the stream are counted in
 * frames of the input from the first one pushed, those that were lost included.
 *
 * Every record that a caller hands over begins with its size, so that records can grow: fields that
 * the caller's record has room for are written, others are not; 0 stands for the record of the
 * first version, up to `reserved`.
 */
#ifndef TONELINK_RECEIVER_H
#define TONELINK_RECEIVER_H

#include <stddef.h>
#include <stdint.h>

#include "export.h"

#ifdef __cplusplus
extern "C" {
#endif

/** Results: 0 or one of these negative codes, which tonelink_receiver_text() puts into words. */
enum {
    TONELINK_RECEIVER_OK = 0,
    TONELINK_RECEIVER_BAD_ARGUMENT = -1, /**< null, a stride of 0, or a record too small */
    TONELINK_RECEIVER_BAD_RATE = -2,     /**< a sample rate below 42000 or above 384000 Hz */
    TONELINK_RECEIVER_BAD_LENGTHS = -3,  /**< message lengths that there are not */
    TONELINK_RECEIVER_BAD_METHODS = -4,  /**< methods that there are not */
    TONELINK_RECEIVER_NO_MEMORY = -5
};

/** The sample rates that a receiver takes, in Hz, both included. */
#define TONELINK_RECEIVER_LOWEST_RATE 42000
#define TONELINK_RECEIVER_HIGHEST_RATE 384000

/** Message lengths, to be combined. */
enum { TONELINK_LENGTH_32 = 1, TONELINK_LENGTH_48 = 2 };

/** Methods of receiving, to be combined. */
enum {
    TONELINK_METHOD_EXACT = 1, /**< fixed point: the same decisions on every machine */
    TONELINK_METHOD_FAR = 2 /**< floating point: hears 7 dB deeper from one burst, up to 16 dB from
                                 ten, and clocks to 1000 ppm off; takes twice as long again in
                                 noise, ten times beside bursts */
};

/** A receiver, behind tonelink_receiver_open(). */
typedef struct tonelink_receiver tonelink_receiver;

/** What a receiver is opened for; zero in a field stands for its default. */
typedef struct tonelink_receiver_settings {
    uint32_t size;       /**< sizeof this record */
    int32_t sample_rate; /**< Hz, 42000 to 384000; default 44100 */
    uint32_t lengths;    /**< TONELINK_LENGTH_32, TONELINK_LENGTH_48 or both; default both */
    uint32_t methods;    /**< TONELINK_METHOD_...; default all that this version has */
} tonelink_receiver_settings;

/** A burst that was heard. */
typedef struct tonelink_heard {
    uint32_t size;        /**< sizeof this record, set by the caller */
    int32_t nbits;        /**< 32 or 48 */
    uint8_t message[8];   /**< the bits, the first one in the most significant place of message[0];
                               zeros behind them */
    int64_t first_sample; /**< the frame with which the burst began; negative where the stream began
                               within it. Right to a millisecond */
    double seconds;       /**< the same in seconds from the start of the stream */
    float level_dbfs;     /**< level of the burst in its band; a sine of full scale has 0 */
    float snr_db;         /**< its power over that of the noise in its band */
    float clock_ppm;    /**< how much faster than this receiver's the sender's clock runs, in parts
                             per million; to some 5 ppm in a clean stream */
    int32_t copies;     /**< how many bursts it was heard from together: one behind the other, or up
                             to five, a pause and up to five; 1 with the exact method */
    uint32_t methods;   /**< which methods heard it: TONELINK_METHOD_... */
    uint32_t repeats;   /**< how many records of the same message came in the three seconds
                             before: 0 for a program that wants each message once */
    uint32_t positions; /**< at how many positions the exact method accepted it: a clean burst some
                             dozen. A single one may be chance, once in about four hours of any
                             sound with both lengths; 0 where that method did not hear it */
    uint32_t reserved;  /**< 0 */
} tonelink_heard;

/** Why a receiver hears nothing, or that it does. */
typedef enum tonelink_reason {
    TONELINK_REASON_NO_BURST = 0,    /**< sound as it should be, and no burst in it */
    TONELINK_REASON_HEARD = 1,       /**< a message was heard */
    TONELINK_REASON_SILENT = 2,      /**< no sound at all: nothing, or next to nothing, arrives */
    TONELINK_REASON_CLIPPED = 3,     /**< sound so loud that it is cut off at full scale */
    TONELINK_REASON_BAND_CUT = 4,    /**< sound below, none in the band of the bursts: a device or
                                          its processing cuts it */
    TONELINK_REASON_TOO_WEAK = 5,    /**< bursts were seen, but too weak to be read */
    TONELINK_REASON_CLOCK = 6,       /**< bursts were seen whose clock is too far off */
    TONELINK_REASON_SAMPLES_LOST = 7 /**< too much of the sound was lost on its way here */
} tonelink_reason;

/** One kilohertz each, from 0 to 22 kHz. */
#define TONELINK_BANDS 22

/** What reaches a receiver. Levels are in dB of full scale: a sine of full scale has 0. -150 is the
    least that is told. */
typedef struct tonelink_reception {
    uint32_t size;         /**< sizeof this record, set by the caller */
    int32_t reason;        /**< tonelink_reason, of all the stream so far */
    int32_t recent_reason; /**< tonelink_reason, of its last five seconds */
    uint32_t heard;        /**< bursts heard */
    uint32_t unread;       /**< bursts seen, but not heard */
    uint32_t dropped;      /**< records that were pushed out of the queue before they were taken */
    double seconds;        /**< how long the stream is, samples lost included */
    uint64_t frames;       /**< the same in frames */
    uint64_t lost_frames;  /**< of these, lost (tonelink_receiver_lost()) */
    uint64_t clipped_frames; /**< of these, beyond full scale, or at it three or more in a
                                  row */
    uint64_t
        invalid_frames;  /**< of these, not finite or beyond 1000 times full scale: taken as 0 */
    float level_dbfs;    /**< of all frequencies, over the last tenth of a second */
    float peak_dbfs;     /**< the largest sample of the last tenth of a second */
    float band_dbfs;     /**< in the bursts' band, 18.07 to 20.14 kHz, over the last tenth */
    float band_edge_hz;  /**< where the sound ends: the frequency above which there is none; 0
                              where no such edge is seen */
    float missing_db;    /**< by how many dB the best burst that was not read was too weak; 0
                              without one */
    float unread_snr_db; /**< its power over that of the noise in its band */
    float unread_ppm;    /**< the clock of the unread burst that was clearest */
    float spectrum_dbfs[TONELINK_BANDS]; /**< level in each kilohertz, over the last second */
    uint32_t reserved;                   /**< 0 */
} tonelink_reception;

/**
 * How many bytes tonelink_receiver_open() takes for these settings, or 0 where it would refuse
 * them.
 * @param settings  null: all defaults
 */
TONELINK_API size_t tonelink_receiver_memory(const tonelink_receiver_settings *settings);

/**
 * Opens a receiver.
 * @param settings  null: all defaults
 * @param receiver  is given the receiver, to be given back with tonelink_receiver_close(); null
 *                  where it is refused
 * @return TONELINK_RECEIVER_OK or a negative code
 */
TONELINK_API int32_t tonelink_receiver_open(const tonelink_receiver_settings *settings,
                                            tonelink_receiver **receiver);

/**
 * Takes the next samples of the stream, of signed 16 bits.
 * @param samples  of the channel to hear, one every `stride`; null only with no frames
 * @param frames   how many
 * @param stride   from one sample to the next: 1 for mono, 2 for one channel of stereo; at least 1
 */
TONELINK_API int32_t tonelink_receiver_push_s16(tonelink_receiver *receiver, const int16_t *samples,
                                                size_t frames, size_t stride);

/** The same for floating point, full scale from -1 to 1. What lies beyond is limited; what is not
    finite, or more than 1000 times full scale, is taken as 0. The report counts both. */
TONELINK_API int32_t tonelink_receiver_push_f32(tonelink_receiver *receiver, const float *samples,
                                                size_t frames, size_t stride);

/** Says that the device has lost so many frames before those that are pushed next. Costs what 0.6 s
   of silence cost at most. */
TONELINK_API int32_t tonelink_receiver_lost(tonelink_receiver *receiver, uint64_t frames);

/**
 * Brings out at once what has been heard already and waits to be settled: for a stream that stands
 * still, but has not ended. Of the exact method that is each burst up to the last sample;
 * `positions` are then those so far. Of the far method it is what it had still to work off: the
 * last half second of the sound is on its way through its filters and stays there. It takes what
 * the measuring of these bursts takes, a quarter of a millisecond each on a server's core, and what
 * the far method had to do: most often nothing, beside many bursts up to a fifth of a second.
 */
TONELINK_API int32_t tonelink_receiver_settle(tonelink_receiver *receiver);

/**
 * Says that the stream ends here: brings out what waits for more sound, which costs what a second
 * of sound costs, and with the far method up to some. Records and the report stay to be taken; what
 * is pushed next is the beginning of a new stream, with a report of its own.
 */
TONELINK_API int32_t tonelink_receiver_flush(tonelink_receiver *receiver);

/**
 * Takes the next burst that was heard, in the order in which they were settled: with the exact
 * method at most a second after the burst's end, with the far one half a second as a rule and two
 * at most, after the last burst that it was heard from. What both hear is one record. 16 records
 * wait; a further one pushes out the oldest.
 * @return 1: one was taken. 0: none waits, and nothing was written
 */
TONELINK_API int32_t tonelink_receiver_next(tonelink_receiver *receiver, tonelink_heard *heard);

/** Says what has reached the receiver, up to the last whole tenth of a second, and why nothing is
    heard. */
TONELINK_API int32_t tonelink_receiver_report(const tonelink_receiver *receiver,
                                              tonelink_reception *reception);

/** Gives a receiver back. Null is nothing. */
TONELINK_API void tonelink_receiver_close(tonelink_receiver *receiver);

/** A subcarrier of a symbol, as a burst is sent. */
typedef struct tonelink_subcarrier {
    int8_t value; /**< 1 for a pilot and for a bit that is 1, -1 for a bit that is 0 */
    uint8_t turn; /**< by which it is then turned, in 1/256 of a turn */
} tonelink_subcarrier;

/**
 * What a message's burst has on its subcarriers (format.h), for programs that measure or draw
 * bursts.
 * @param message      its bits, as in tonelink_heard; null for a message that is not known: 0 in
 *                     `value` then stands for a bit
 * @param nbits        32 or 48; anything without a message
 * @param subcarriers  is given 16 symbols of 61 subcarriers each
 * @return TONELINK_RECEIVER_OK, BAD_ARGUMENT without `subcarriers`, or BAD_LENGTHS
 */
TONELINK_API int32_t tonelink_receiver_subcarriers(const uint8_t *message, int32_t nbits,
                                                   tonelink_subcarrier *subcarriers);

/** A result in words, in English: "no memory". Never null. */
TONELINK_API const char *tonelink_receiver_text(int32_t result);

/** A reason as one word, for programs: "no_burst", "heard", "silent", "clipped", "band_cut",
    "too_weak", "clock", "samples_lost". "unknown" for another number. */
TONELINK_API const char *tonelink_receiver_reason(int32_t reason);

#ifdef __cplusplus
}
#endif

#endif
