/* What a user's first program does: makes a burst with the installed library. */
#include <stdio.h>

#include <tonelink/modem.h>

int main(void)
{
    uint8_t message[32] = {1, 0, 1, 1};
    snfc_state *modem = NULL;
    int16_t *samples;
    int32_t *length;
    int32_t peak = 0;
    if (open_snfc(&modem) != 1) return 1;
    if (get_burst_snfc(&modem, message, 32, &samples, &length) != 1) return 1;
    for (int32_t i = 0; i < *length; ++i)
        if (samples[i] > peak) peak = samples[i];
    printf("%d samples, peak %d\n", (int)*length, (int)peak);
    return close_snfc(&modem) == 1 ? 0 : 1;
}
