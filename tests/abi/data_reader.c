/* A program that reads the library's exported data: it must see the library's own variables, not
 * copies made when it started. */
#include <stdio.h>

#include <tonelink/modem.h>

static int differs(const char *what, int actual, int expected)
{
    if (actual == expected) return 0;
    fprintf(stderr, "%s is %d instead of %d\n", what, actual, expected);
    return 1;
}

int main(void)
{
    snfc_state *modem = NULL;
    int failed = differs("a closed shifter's ntaps", sInfoTx.ntaps, 0);
    failed |= differs("open_snfc()", open_snfc(&modem), 1);
    failed |= differs("sInfoTx.ntaps", sInfoTx.ntaps, 129);
    failed |= differs("sInfoRx.ntaps", sInfoRx.ntaps, 129);
    failed |= differs("Sinewave[2048]", Sinewave[2048], 32767);
    failed |= differs("close_snfc()", close_snfc(&modem), 1);
    return failed;
}
