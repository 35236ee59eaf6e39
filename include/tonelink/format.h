/**
 * @file
 * The numbers of a burst: how long it is, and where it lies in time and frequency. For programs
 * that measure or draw bursts; sending and receiving need none of them.
 *
 * A burst has 16 symbols. A symbol is a body of 1280 samples between a guard before it and one
 * behind it, of 80 samples each, which repeat the body's end and its beginning. In a body,
 * subcarriers 2 to 62 are tones: a subcarrier is a pilot in every other symbol, and carries a bit
 * in the others. All samples are counted at 44100 Hz.
 */
#ifndef TONELINK_FORMAT_H
#define TONELINK_FORMAT_H

#define TONELINK_SAMPLE_RATE 44100 /**< Hz */
#define TONELINK_BURST_SAMPLES 23170
#define TONELINK_BURST_DELAY 128 /**< the sample of a burst with which its first symbol begins */
#define TONELINK_SYMBOLS 16      /**< counted from 1 */
#define TONELINK_GUARD_SAMPLES 80
#define TONELINK_BODY_SAMPLES 1280
#define TONELINK_SYMBOL_SAMPLES 1440
#define TONELINK_FIRST_SUBCARRIER 2
#define TONELINK_LAST_SUBCARRIER 62
#define TONELINK_SUBCARRIERS 61

/** The frequency of a subcarrier in Hz: the higher its number, the lower the tone. Subcarrier 0,
    which is not in use, lies at half the sample rate less the band shift of 342 / 8192 of it. */
#define TONELINK_SUBCARRIER_HZ(subcarrier) (44100 * (0.5 - 342.0 / 8192 - (subcarrier) / 1280.0))

/** Whether a subcarrier, 2 to 62, is a pilot in a symbol, 1 to 16. */
#define TONELINK_IS_PILOT(symbol, subcarrier) (((symbol) + (subcarrier)) % 2 == 1)

#endif
