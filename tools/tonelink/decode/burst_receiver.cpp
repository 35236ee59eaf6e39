#include "decode/burst_receiver.h"

#include <algorithm>
#include <new>
#include <string>

#include "errors.h"

namespace tonelink::tool {
namespace {

tonelink_receiver *open_receiver(int sample_rate, const listening &wanted)
{
    const tonelink_receiver_settings settings{.size = sizeof settings,
                                              .sample_rate = sample_rate,
                                              .lengths = wanted.lengths,
                                              .methods = wanted.methods};
    tonelink_receiver *receiver = nullptr;
    const int32_t result = tonelink_receiver_open(&settings, &receiver);
    if (result == TONELINK_RECEIVER_NO_MEMORY) throw std::bad_alloc{};
    if (result != TONELINK_RECEIVER_OK) throw failure{tonelink_receiver_text(result)};
    return receiver;
}

} // namespace

burst_receiver::burst_receiver(int sample_rate, const listening &wanted)
    : receiver_{open_receiver(sample_rate, wanted)}
{
}

void burst_receiver::put(std::span<const float> samples)
{
    tonelink_receiver_push_f32(receiver_.get(), samples.data(), samples.size(), 1);
}

void burst_receiver::put(std::span<const int16_t> samples)
{
    tonelink_receiver_push_s16(receiver_.get(), samples.data(), samples.size(), 1);
}

void burst_receiver::put_gap(int64_t samples)
{
    tonelink_receiver_lost(receiver_.get(), static_cast<uint64_t>(samples));
}

void burst_receiver::settle() { tonelink_receiver_settle(receiver_.get()); }

void burst_receiver::finish() { tonelink_receiver_flush(receiver_.get()); }

std::optional<tonelink_heard> burst_receiver::take()
{
    tonelink_heard heard{};
    heard.size = sizeof heard;
    if (tonelink_receiver_next(receiver_.get(), &heard) != 1) return std::nullopt;
    return heard;
}

tonelink_reception burst_receiver::reception() const
{
    tonelink_reception reception{};
    reception.size = sizeof reception;
    tonelink_receiver_report(receiver_.get(), &reception);
    return reception;
}

message_bits message_of(const tonelink_heard &heard)
{
    message_bits message;
    for (int i = 0; i < heard.nbits; ++i)
        message.push_back(heard.message[i / 8] >> (7 - i % 8) & 1);
    return message;
}

double start_of(const tonelink_heard &heard) { return std::max(0.0, heard.seconds); }

} // namespace tonelink::tool
