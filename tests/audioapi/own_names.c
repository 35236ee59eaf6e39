/* A program's own things that happen to be named like the library's: it must never see them. */
#include <stdlib.h>

int buf = 1;
int output = 2;

#define OWN_FUNCTION(name)                                                                         \
    void name(void);                                                                               \
    void name(void) { abort(); }
OWN_FUNCTION(put)
OWN_FUNCTION(Initialize)
OWN_FUNCTION(Start)
OWN_FUNCTION(Stop)
OWN_FUNCTION(SubmitAudioBuffer)
OWN_FUNCTION(bitset)
OWN_FUNCTION(repeat_thread_func)
OWN_FUNCTION(audio_create)
OWN_FUNCTION(tonelink_tx_open)
OWN_FUNCTION(tonelink_tx_generate)
OWN_FUNCTION(tonelink_tx_start_async)
OWN_FUNCTION(_audio_io_stream_write_async_cb)
OWN_FUNCTION(get_burst_snfc)
OWN_FUNCTION(ac_allocate_memory)
OWN_FUNCTION(vec16_set_length)
