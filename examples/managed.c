/*
 * Shows calls alone: it plays at 48000 Hz, where no phone hears what is made for 44100 Hz.
 *
 * The entry points that a managed runtime binds to, called as it would call them: a PIN that the
 * application has chosen, sent twice at another sample rate. Without the first call it is heard.
 *
 *     managed [SECONDS]
 */
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <tonelink/service.h>

int main(int argc, char **argv)
{
    int seconds = argc > 1 ? atoi(argv[1]) : 5;

    if (set_tx_samplerate_managed(48000) != 1) return 1;
    /* From here on, every start sends this message: the PIN and the last two octets of the address.
     */
    set_pin_in_ultrasound_managed(4711, "01:23:45:67:89:AB");

    for (int round = 1; round <= 2; ++round) {
        /* Packet type 2: 48 bits. Any other value is taken for type 1. */
        int started = start_audio_transmitting_async_type_managed(2);
        if (started != 1) {
            fprintf(stderr, "managed: start %d answered %d\n", round, started);
            return 1;
        }
        printf("sending PIN 4711, round %d\n", round);
        fflush(stdout);
        sleep((unsigned)seconds);
        if (stop_audio_transmitting_async_managed() != 1) return 1;
    }
    return 0;
}
