// What the module of WebAssembly gives to JavaScript (web/tonelink/core.js), by these names.
// Records and rows lie in the module's memory; numbers are what both languages have.
#pragma once

#include <cstdint>

#include <tonelink/receiver.h>

#define TONELINK_MODULE_EXPORT(name) __attribute__((export_name(name), visibility("default")))

namespace tonelink::web {

/// As many channels and frames as a stream takes at a time; a block of Web Audio has 128 frames.
inline constexpr int32_t kMostChannels = 8;
inline constexpr int32_t kMostFrames = 1024;

/// A receiver with its input and the records that it hands out.
struct stream;

// ---- Receiving ----

/// Opens a receiver of streams. What the settings mean is said in tonelink/receiver.h; with several
/// channels it hears the one in which the band of the bursts is loudest. Null with `result()` set
/// where it is refused.
TONELINK_MODULE_EXPORT("open")
stream *open(int32_t sample_rate, uint32_t lengths, uint32_t methods, int32_t channels);

/// The code of the last open().
TONELINK_MODULE_EXPORT("result") int32_t result();

/// The memory that open() takes for a receiver, in bytes; 0 where it would refuse.
TONELINK_MODULE_EXPORT("memory_size")
uint32_t memory_size(int32_t sample_rate, uint32_t lengths, uint32_t methods);

/// Where samples are put before a push: kMostFrames for each channel, a channel behind the other.
TONELINK_MODULE_EXPORT("input") float *input(stream *stream);

/// Takes `frames` frames from the input.
TONELINK_MODULE_EXPORT("push") void push(stream *stream, int32_t frames);

TONELINK_MODULE_EXPORT("lost") void lost(stream *stream, double frames);
TONELINK_MODULE_EXPORT("settle") void settle(stream *stream);
TONELINK_MODULE_EXPORT("flush") void flush(stream *stream);

/// The next burst that was heard, or null; valid until the next call.
TONELINK_MODULE_EXPORT("next") const tonelink_heard *next(stream *stream);

/// What reaches the receiver; valid until the next call.
TONELINK_MODULE_EXPORT("report") const tonelink_reception *report(stream *stream);

TONELINK_MODULE_EXPORT("close") void close(stream *stream);

/// A reason's word and a result's text, as C has them.
TONELINK_MODULE_EXPORT("reason_word") const char *reason_word(int32_t reason);
TONELINK_MODULE_EXPORT("result_text") const char *result_text(int32_t result);

// ---- Sending ----

/// Where a message is put before make_burst(): 48 bytes, a bit each.
TONELINK_MODULE_EXPORT("message") uint8_t *message();

/// The burst of the first 32 or 48 bits there as a transmission at full volume plays it: 23170
/// samples at 44100 Hz, valid until the next call. Null for another length, and without memory.
TONELINK_MODULE_EXPORT("make_burst") const int16_t *make_burst(int32_t nbits);

/// How many samples the burst has at a rate of 42000 to 384000 Hz; 0 at another.
TONELINK_MODULE_EXPORT("burst_length") int32_t burst_length(int32_t sample_rate);

/// The burst that was made last at such a rate, -1 to 1: to be released. Null at another
/// rate, and without memory.
TONELINK_MODULE_EXPORT("burst_at") float *burst_at(int32_t sample_rate);

TONELINK_MODULE_EXPORT("release") void release(float *samples);

} // namespace tonelink::web
