// The module of WebAssembly: the receiver library and the modem's burst behind functions that
// JavaScript can call. It imports nothing.
#include "module.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <span>

#include "burst_at_rate.h"
#include "decode/loudest_channel.h"
#include "modem/band_shift.h"
#include "modem/burst_generator.h"
#include "modem/output_filter.h"

namespace tonelink::web {

struct stream {
    tonelink_receiver *receiver;
    std::size_t channels;
    tool::loudest_channel<float> loudest;
    std::array<float, kMostChannels * kMostFrames> input{}; // a channel behind the other
    std::array<float, kMostChannels * kMostFrames> frames{};
    tonelink_heard heard{};
    tonelink_reception reception{};
};

// Where JavaScript reads the fields of records.
static_assert(offsetof(tonelink_heard, message) == 8 &&
              offsetof(tonelink_heard, first_sample) == 16 &&
              offsetof(tonelink_heard, level_dbfs) == 32 &&
              offsetof(tonelink_heard, positions) == 56);
static_assert(offsetof(tonelink_reception, dropped) == 20 &&
              offsetof(tonelink_reception, seconds) == 24 &&
              offsetof(tonelink_reception, invalid_frames) == 56 &&
              offsetof(tonelink_reception, level_dbfs) == 64 &&
              offsetof(tonelink_reception, spectrum_dbfs) == 92);

namespace {

int32_t last_result = TONELINK_RECEIVER_OK;

std::array<uint8_t, 48> message_bits;
std::array<int16_t, kBurstSamples> burst;

} // namespace

stream *open(int32_t sample_rate, uint32_t lengths, uint32_t methods, int32_t channels)
{
    last_result = TONELINK_RECEIVER_BAD_ARGUMENT;
    if (channels < 1 || channels > kMostChannels) return nullptr;
    const tonelink_receiver_settings settings{sizeof settings, sample_rate, lengths, methods};
    tonelink_receiver *receiver = nullptr;
    last_result = tonelink_receiver_open(&settings, &receiver);
    if (receiver == nullptr) return nullptr;
    void *const memory = std::malloc(sizeof(stream));
    if (memory == nullptr) {
        tonelink_receiver_close(receiver);
        last_result = TONELINK_RECEIVER_NO_MEMORY;
        return nullptr;
    }
    const auto count = static_cast<std::size_t>(channels);
    auto *const opened = ::new (memory) stream{receiver, count, {count, double(sample_rate)}};
    opened->heard.size = sizeof opened->heard;
    opened->reception.size = sizeof opened->reception;
    return opened;
}

int32_t result() { return last_result; }

uint32_t memory_size(int32_t sample_rate, uint32_t lengths, uint32_t methods)
{
    const tonelink_receiver_settings settings{sizeof settings, sample_rate, lengths, methods};
    return tonelink_receiver_memory(&settings);
}

float *input(stream *stream) { return stream->input.data(); }

void push(stream *stream, int32_t frames)
{
    const auto count = static_cast<std::size_t>(std::clamp(frames, 0, kMostFrames));
    if (stream->channels == 1) {
        tonelink_receiver_push_f32(stream->receiver, stream->input.data(), count, 1);
        return;
    }
    for (std::size_t channel = 0; channel < stream->channels; ++channel)
        for (std::size_t i = 0; i < count; ++i)
            stream->frames[stream->channels * i + channel] =
                stream->input[kMostFrames * channel + i];
    const auto heard =
        stream->loudest.put(std::span{stream->frames}.first(stream->channels * count));
    tonelink_receiver_push_f32(stream->receiver, heard.data(), heard.size(), 1);
}

void lost(stream *stream, double frames)
{
    if (frames >= 1) tonelink_receiver_lost(stream->receiver, static_cast<uint64_t>(frames));
}

void settle(stream *stream) { tonelink_receiver_settle(stream->receiver); }

void flush(stream *stream) { tonelink_receiver_flush(stream->receiver); }

const tonelink_heard *next(stream *stream)
{
    return tonelink_receiver_next(stream->receiver, &stream->heard) == 1 ? &stream->heard : nullptr;
}

const tonelink_reception *report(stream *stream)
{
    tonelink_receiver_report(stream->receiver, &stream->reception);
    return &stream->reception;
}

void close(stream *stream)
{
    tonelink_receiver_close(stream->receiver);
    stream->~stream();
    std::free(stream);
}

const char *reason_word(int32_t reason) { return tonelink_receiver_reason(reason); }

const char *result_text(int32_t result) { return tonelink_receiver_text(result); }

uint8_t *message() { return message_bits.data(); }

const int16_t *make_burst(int32_t nbits)
{
    if (nbits != 32 && nbits != 48) return nullptr;
    // Each burst is a transmission's first one: shifter and filter begin at rest.
    BandShiftInfo shifter;
    openBandShift(&shifter, -kBandShiftHz);
    if (!is_open(shifter)) return nullptr;
    tonelink::make_burst(std::span{message_bits}.first(static_cast<std::size_t>(nbits)), true,
                         shifter, burst);
    closeBandShift(&shifter);
    std::ranges::fill(xv, 0.0f);
    std::ranges::fill(yv, 0.0f);
    filter_output(burst);
    return burst.data();
}

int32_t burst_length(int32_t sample_rate)
{
    if (sample_rate < TONELINK_RECEIVER_LOWEST_RATE || sample_rate > TONELINK_RECEIVER_HIGHEST_RATE)
        return 0;
    return static_cast<int32_t>(burst_length_at(sample_rate));
}

float *burst_at(int32_t sample_rate)
{
    const auto count = static_cast<std::size_t>(burst_length(sample_rate));
    if (count == 0) return nullptr;
    auto *const samples = static_cast<float *>(std::calloc(count, sizeof(float)));
    if (samples != nullptr) burst_at_rate(burst, sample_rate, {samples, count});
    return samples;
}

void release(float *samples) { std::free(samples); }

} // namespace tonelink::web
