/**
 * @file
 * The host platform: stand-ins for a television's audio output, sound manager, Bluetooth adapter,
 * system information and log, so that the library runs on any Linux machine. Here is what a program
 * can set and see of it beyond the platform's own calls; the volumes are those of sound_manager.h.
 *
 * | variable            | value                               | without it                  |
 * |---------------------|-------------------------------------|-----------------------------|
 * | TONELINK_AUDIO      | wav:PATH, alsa, alsa:DEVICE or null | alsa, the default device    |
 * | TONELINK_LOG        | stderr, syslog or none              | none                        |
 * | TONELINK_BT_ADDRESS | AA:BB:CC:DD:EE:FF                   | the machine's first adapter |
 * | TONELINK_AV_PRODUCT | 0 or 1                              | 0                           |
 *
 * A variable is read whenever it is needed; an empty one counts as not there. What a program sets
 * here goes before it. All calls may be made from any thread.
 *
 * What is heard: a sample s at level L of sound type 1, or at the ultrasound floor where that is
 * higher, leaves as the integer nearest to s L / 15: at 15 unchanged, at 0 silent. The level is
 * that of the moment at which the device takes the sample, in steps of 10 ms. The master volume
 * does not change the samples: it is the loudspeaker's.
 */
#ifndef TONELINK_PLATFORM_HOST_H
#define TONELINK_PLATFORM_HOST_H

#include <stddef.h>
#include <stdint.h>

#include "audio_out.h"
#include "bluetooth.h"
#include "export.h"
#include "log.h"
#include "sound_manager.h"
#include "system_info.h"

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Chooses what outputs that are prepared from now on play to.
 *
 * - `wav:PATH`: a WAV file, complete and readable after each 10 ms of sound, also if the process
 *   is killed. It holds the samples that were written, without the pauses between writes. The first
 *   output of a process makes the file anew; the ones after it append, and must have the same rate;
 *   two at the same time are refused. A file that has reached 4 GiB takes no more.
 * - `wav:-`: the same to standard output, in a pipe or a file, as it comes; its header says that
 *   the length is not known. A reader that goes away fails the output, if SIGPIPE is ignored.
 * - `alsa` or `alsa:DEVICE`: the sound card, or whatever the desktop makes of ALSA's device
 *   `default` or of any other name that ALSA knows. It is opened at a rate of its own, to which the
 *   sound is resampled where they differ, with as few channels as it takes, which all play the
 * same.
 * - `null`: nothing is heard; the time passes as with the others.
 *
 * @param choice  as in TONELINK_AUDIO; null: what the variable says
 * @return 0, or -22 with nothing changed. Whether the file or device can be opened shows when an
 *         output is prepared.
 */
TONELINK_PLATFORM_API int tonelink_host_set_audio(const char *choice);

/** Samples that all outputs of the process together have given to what they play to. */
TONELINK_PLATFORM_API uint64_t tonelink_host_get_samples_played(void);

/** Level at which sound is heard now, 0 to 15: of sound type 1, or the floor where higher. */
TONELINK_PLATFORM_API int tonelink_host_get_heard_level(void);

/** The ultrasound floor that is set, or -1 when there is none. */
TONELINK_PLATFORM_API int tonelink_host_get_ultrasound_floor(void);

/**
 * Sets the device address that bt_adapter_get_address() gives.
 * @param address  six hexadecimal octets with colons; null: TONELINK_BT_ADDRESS or the adapter's
 * @return 0, or -22 with nothing changed
 */
TONELINK_PLATFORM_API int tonelink_host_set_bluetooth_address(const char *address);

/**
 * Makes the machine an AV product, or not.
 * @param av  1 or 0; -1: what TONELINK_AV_PRODUCT says
 * @return 0, or -22 with nothing changed
 */
TONELINK_PLATFORM_API int tonelink_host_set_av_product(int av);

/**
 * Sends the log elsewhere.
 * @param target  "stderr" (with time and level, coloured on a terminal unless NO_COLOR is set),
 *                "syslog" or "none"; null: what TONELINK_LOG says
 * @return 0, or -22 with nothing changed
 */
TONELINK_PLATFORM_API int tonelink_host_set_log(const char *target);

/**
 * Tells in one line, without a line end, what the host platform last could not do and why; the same
 * line is in the log. A program shows it when the library says only that something failed.
 * @param text  receives the line, cut to `size` bytes with its terminator; null when `size` is 0
 * @return length of the whole line, at most 511; 0 when nothing has failed yet
 */
TONELINK_PLATFORM_API size_t tonelink_host_get_last_error(char *text, size_t size);

/**
 * Tells in one line what the host platform does, but not as well as it should: of a sound card
 * whose rate loses the band of the bursts, or whose pace cannot be exact. The same line is in the
 * log. It is told when an output is prepared, which succeeds all the same.
 * @param text  as of tonelink_host_get_last_error()
 * @return length of the whole line, at most 511; 0 when there has been nothing to warn of
 */
TONELINK_PLATFORM_API size_t tonelink_host_get_last_warning(char *text, size_t size);

#ifdef __cplusplus
}
#endif

#endif
