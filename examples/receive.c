/*
 * Receives: reads sound from standard input as it comes (samples of 16 bits, mono), prints each
 * message once, and at the end, where there was none, why.
 *
 *     receive RATE
 *     arecord -q -d 20 -t raw -f S16_LE -c 1 -r 48000 | receive 48000
 */
#include <stdio.h>
#include <stdlib.h>

#include <tonelink/receiver.h>

/* A sender repeats its burst as long as it sends: only what was not heard in the three seconds
 * before is printed. */
static void print_new(tonelink_receiver *receiver)
{
    tonelink_heard heard = {.size = sizeof heard};
    while (tonelink_receiver_next(receiver, &heard) == 1) {
        if (heard.repeats > 0) continue;
        int bytes = heard.nbits / 8;
        printf("%8.3f s  %5.1f dBFS  ", heard.seconds, (double)heard.level_dbfs);
        for (int i = 0; i < bytes; ++i) printf("%02X", (unsigned)heard.message[i]);
        /* As a pairing, all but the last two bytes are a PIN. */
        uint32_t pin = 0;
        for (int i = 0; i < bytes - 2; ++i) pin = pin << 8 | heard.message[i];
        printf(" (PIN %lu, address ends in %02X:%02X)\n", (unsigned long)pin,
               (unsigned)heard.message[bytes - 2], (unsigned)heard.message[bytes - 1]);
        fflush(stdout);
    }
}

static void print_reason(const tonelink_reception *report)
{
    printf("nothing heard in %.1f s: ", report->seconds);
    switch (report->reason) {
    case TONELINK_REASON_SILENT:
        printf("silence; is the microphone muted, or the program not allowed to hear it?\n");
        break;
    case TONELINK_REASON_CLIPPED:
        printf("the sound is cut off at full scale; turn the input's gain down\n");
        break;
    case TONELINK_REASON_BAND_CUT:
        printf("the sound ends at %.1f kHz; switch voice processing off, and record at 44.1 kHz or "
               "more\n",
               (double)report->band_edge_hz / 1000);
        break;
    case TONELINK_REASON_TOO_WEAK:
        printf("%lu bursts were seen, the best too weak by %.0f dB; come closer\n",
               (unsigned long)report->unread, (double)report->missing_db);
        break;
    case TONELINK_REASON_CLOCK:
        printf("bursts were seen whose clock is %.0f ppm off; is the sample rate right?\n",
               (double)report->unread_ppm);
        break;
    case TONELINK_REASON_SAMPLES_LOST:
        printf("too many samples were lost on their way here\n");
        break;
    default: printf("no burst in the sound; is anything sent?\n"); break;
    }
}

int main(int argc, char **argv)
{
    char *end = NULL;
    long rate = argc == 2 ? strtol(argv[1], &end, 10) : 0;
    if (rate <= 0 || rate > INT32_MAX || *end != '\0') {
        fprintf(stderr, "usage: receive RATE <SAMPLES\n");
        return 2;
    }
    tonelink_receiver_settings settings = {.size = sizeof settings, .sample_rate = (int32_t)rate};
    tonelink_receiver *receiver;
    int32_t result = tonelink_receiver_open(&settings, &receiver);
    if (result != TONELINK_RECEIVER_OK) {
        fprintf(stderr, "receive: cannot receive at %ld Hz: %s\n", rate,
                tonelink_receiver_text(result));
        return 2;
    }

    int16_t samples[480]; /* 10 ms at 48000 Hz; any number will do */
    size_t frames;
    while ((frames = fread(samples, sizeof *samples, 480, stdin)) > 0) {
        tonelink_receiver_push_s16(receiver, samples, frames, 1);
        print_new(receiver);
    }
    if (ferror(stdin)) {
        perror("receive: cannot read standard input");
        tonelink_receiver_close(receiver);
        return 2;
    }
    tonelink_receiver_flush(receiver);
    print_new(receiver);

    tonelink_reception report = {.size = sizeof report};
    tonelink_receiver_report(receiver, &report);
    tonelink_receiver_close(receiver);
    if (report.heard == 0) print_reason(&report);
    return report.heard > 0 ? 0 : 1;
}
