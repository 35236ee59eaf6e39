/* A program that declares the library's variables by itself, as C programs may. It must see what
 * the library writes, and the library what it writes. */
#include <stdint.h>
#include <stdio.h>

#include <tonelink/modem.h>

extern int16_t *buf;
extern int32_t buf_length;
extern int32_t transmitting_stopped;
int32_t GenerateMessage(int32_t message, int32_t repeat);

static int failed = 0;

static void expect(const char *what, int actual, int expected)
{
    if (actual == expected) return;
    fprintf(stderr, "%s is %d instead of %d\n", what, actual, expected);
    failed = 1;
}

int main(void)
{
    snfc_state *modem = NULL;
    expect("Sinewave[2048]", Sinewave[2048], 32767);
    expect("a closed shifter's ntaps", sInfoTx.ntaps, 0);
    expect("open_snfc()", open_snfc(&modem), 1);
    expect("sInfoTx.ntaps", sInfoTx.ntaps, 129);
    expect("sInfoRx.ntaps", sInfoRx.ntaps, 129);
    expect("close_snfc()", close_snfc(&modem), 1);

    expect("transmitting_stopped", transmitting_stopped, 1);
    transmitting_stopped = 0;
    expect("GenerateMessage() while transmitting", GenerateMessage(4711, 2), 0);
    expect("buf_length", buf_length, 0);
    transmitting_stopped = 1;
    expect("GenerateMessage()", GenerateMessage(4711, 2), 1);
    expect("buf_length", buf_length, 2 * 23170);
    expect("buf is there", buf != NULL, 1);
    return failed;
}
