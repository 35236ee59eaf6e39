/*
 * A platform of one's own: all that the library asks of the system it runs on, in one file. The
 * audio output is a file of raw samples (16 bits, mono, 44100 Hz), the volumes are two variables,
 * and the Bluetooth address is made up.
 *
 * The library calls these functions by name, so a program that defines them needs no other
 * platform.
 *
 *     own_platform FILE
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <tonelink/payload.h>
#include <tonelink/service.h>
#include <tonelink_platform/audio_out.h>
#include <tonelink_platform/bluetooth.h>
#include <tonelink_platform/log.h>
#include <tonelink_platform/sound_manager.h>
#include <tonelink_platform/system_info.h>

enum { OK = 0, INVALID_PARAMETER = -22, INVALID_OPERATION = -38, MAX_VOLUME = 15 };

/* ---- Audio output: one file ----------------------------------------------------------------- */

static const char *file_name;

struct audio_out_s {
    FILE *file;
};

int audio_out_create_new(int rate, int channel, int sample_type, audio_out_h *out)
{
    (void)rate, (void)channel, (void)sample_type; /* always mono, signed 16 bits */
    *out = calloc(1, sizeof **out);
    return *out ? OK : -12;
}

int audio_out_prepare(audio_out_h out)
{
    if (!out) return INVALID_PARAMETER;
    out->file = fopen(file_name, "wb");
    return out->file ? OK : INVALID_OPERATION;
}

int audio_out_write(audio_out_h out, const void *buffer, unsigned int bytes)
{
    /* A device would take its time here; a file is as fast as it is. */
    if (!out || !out->file) return INVALID_PARAMETER;
    return fwrite(buffer, 1, bytes, out->file) == bytes ? (int)bytes : INVALID_OPERATION;
}

int audio_out_unprepare(audio_out_h out)
{
    if (!out || !out->file) return INVALID_PARAMETER;
    int failed = fclose(out->file);
    out->file = NULL;
    return failed ? INVALID_OPERATION : OK;
}

int audio_out_destroy(audio_out_h out)
{
    if (!out) return INVALID_PARAMETER;
    if (out->file) fclose(out->file);
    free(out);
    return OK;
}

int audio_out_set_sound_stream_info(audio_out_h out, sound_stream_info_h info)
{
    (void)info;
    return out ? OK : INVALID_PARAMETER;
}

/* Only the _async and managed starts and start_audiodata_transmission() need a device that calls
 * back: without one, they do not start. */
int audio_out_set_stream_cb(audio_out_h out, audio_out_stream_cb callback, void *user_data)
{
    (void)out, (void)callback, (void)user_data;
    return INVALID_OPERATION;
}

int audio_out_unset_stream_cb(audio_out_h out)
{
    (void)out;
    return INVALID_OPERATION;
}

/* ---- Sound manager --------------------------------------------------------------------------- */

static int master_volume = 40;
static int type_volume = 8; /* of sound type 1, which the burst is played with */

int sound_manager_create_stream_information(int type, void *callback, void *user_data,
                                            sound_stream_info_h *info)
{
    (void)type, (void)callback, (void)user_data;
    *info = NULL; /* there is only one kind of stream here */
    return OK;
}

int sound_manager_destroy_stream_information(sound_stream_info_h info)
{
    (void)info;
    return OK;
}

static int store(int *to, int value)
{
    *to = value;
    return OK;
}

int sound_manager_get_volume(int type, int *volume)
{
    return (void)type, store(volume, type_volume);
}

int sound_manager_set_volume(int type, int volume)
{
    printf("volume of sound type %d: %d\n", type, volume);
    return store(&type_volume, volume);
}

int sound_manager_get_max_volume(int type, int *volume)
{
    return (void)type, store(volume, MAX_VOLUME);
}

int sound_manager_get_master_volume(int *volume) { return store(volume, master_volume); }

int sound_manager_set_master_volume(int volume) { return store(&master_volume, volume); }

int sound_manager_get_tv_master_volume(int *volume) { return store(volume, master_volume); }

int sound_manager_set_ultrasound_volume_min(int volume) { return (void)volume, OK; }

int sound_manager_unset_ultrasound_volume_min(void) { return OK; }

/* Nobody turns the master volume while this program runs, so there is nothing to tell. */
int sound_manager_set_master_volume_changed_cb(sound_manager_master_volume_changed_cb callback,
                                               void *user_data)
{
    (void)callback, (void)user_data;
    return OK;
}

int sound_manager_unset_master_volume_changed_cb(void) { return OK; }

/* ---- Bluetooth, system information, log ------------------------------------------------------ */

int bt_adapter_get_address(char **address)
{
    static const char text[] = "01:23:45:67:89:AB";
    *address = malloc(sizeof text); /* the library frees it */
    return *address ? memcpy(*address, text, sizeof text), OK : -12;
}

int system_info_get_custom_bool(const char *key, bool *value)
{
    (void)key, (void)value;
    return INVALID_PARAMETER; /* no such key: an ordinary product */
}

int __dlog_print(int log_id, int priority, const char *tag, const char *format, ...)
{
    (void)log_id, (void)priority, (void)tag, (void)format;
    return 0; /* or, while looking for a fault: vfprintf(stderr, format, ...) */
}

int main(int argc, char **argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: own_platform FILE\n");
        return 2;
    }
    file_name = argv[1];
    if (start_audio_transmitting() != 1) {
        fprintf(stderr, "own_platform: \"%s\" cannot be written\n", file_name);
        return 1;
    }
    sleep(1);
    if (stop_audio_transmitting() != 1) return 1;
    printf("PIN %d is in \"%s\"\n", (int)get_audio_pin(), file_name);
    return 0;
}
