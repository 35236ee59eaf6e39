/*
 * Sends a pairing PIN for some seconds: what a television does while it waits for a phone.
 *
 *     pairing [SECONDS]
 */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <tonelink/payload.h>
#include <tonelink/service.h>

int main(int argc, char **argv)
{
    int seconds = argc > 1 ? atoi(argv[1]) : 5;

    /* Draws a PIN, reads the Bluetooth address of this machine, makes the burst of the two, and
     * plays it from a thread of its own until it is stopped. */
    int started = start_audio_transmitting();
    if (started != 1) {
        fprintf(stderr, "pairing: not started (%d); is the master volume 0, or Bluetooth off?\n",
                (int)started);
        return 1;
    }
    printf("sending PIN %d for %d seconds\n", (int)get_audio_pin(), seconds);
    fflush(stdout);
    sleep((unsigned)seconds);

    /* Puts the volumes back, too. */
    if (stop_audio_transmitting() != 1) {
        fprintf(stderr, "pairing: the audio output did not stop cleanly\n");
        return 1;
    }
    return 0;
}
