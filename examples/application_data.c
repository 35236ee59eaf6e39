/*
 * Sends up to six bytes of one's own: here the letters of a word.
 *
 *     application_data [WORD [SECONDS]]
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <tonelink/service.h>

enum { PACKET_32_BITS = 1, PACKET_48_BITS = 2 };

int main(int argc, char **argv)
{
    const char *word = argc > 1 ? argv[1] : "hello";
    int seconds = argc > 2 ? atoi(argv[2]) : 5;
    size_t length = strlen(word);
    if (length > 6) {
        fprintf(stderr, "application_data: \"%s\" has %zu bytes; a message holds 6\n", word,
                length);
        return 2;
    }

    /* A short message is sent with zeros after it. Four bytes need only the shorter packet, which
     * takes as long to send but stands more noise. */
    int packet = length <= 4 ? PACKET_32_BITS : PACKET_48_BITS;
    if (start_audiodata_transmission((const uint8_t *)word, (int32_t)length, packet) != 1) {
        fprintf(stderr, "application_data: not started; is the master volume 0?\n");
        return 1;
    }
    printf("sending \"%s\" for %d seconds\n", word, seconds);
    fflush(stdout);
    sleep((unsigned)seconds);

    /* What start_audiodata_transmission() has started plays from the audio output's own callback;
     * either stop ends it, and this one is its family's. */
    return stop_audio_transmitting_async() == 1 ? 0 : 1;
}
