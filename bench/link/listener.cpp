#include "link/listener.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

namespace tonelink::bench {

namespace {

constexpr std::size_t kBlock = 441;

struct close_receiver {
    void operator()(tonelink_receiver *receiver) const { tonelink_receiver_close(receiver); }
};

std::uint64_t message_of(const tonelink_heard &heard)
{
    std::uint64_t bits = 0;
    for (int n = 0; n < heard.nbits / 8; ++n) bits = bits << 8 | heard.message[n];
    return bits;
}

} // namespace

hearing hear(const far_scene &scene, std::size_t bits, uint32_t methods, const microphone &with)
{
    sound louder = scene.samples;
    for (float &sample : louder) sample *= static_cast<float>(with.gain);
    std::vector<int16_t> samples = to_16_bits(louder);
    for (int16_t &sample : samples) sample = static_cast<int16_t>(sample / with.divisor);

    tonelink_receiver_settings settings{};
    settings.size = sizeof settings;
    settings.sample_rate = with.sample_rate;
    settings.methods = methods;
    tonelink_receiver *opened = nullptr;
    if (tonelink_receiver_open(&settings, &opened) != TONELINK_RECEIVER_OK)
        throw std::runtime_error{"no receiver"};
    const std::unique_ptr<tonelink_receiver, close_receiver> receiver{opened};

    hearing result;
    const auto take = [&] {
        tonelink_heard heard{};
        heard.size = sizeof heard;
        while (tonelink_receiver_next(opened, &heard) == 1) {
            if (heard.nbits == static_cast<int>(bits) && message_of(heard) == scene.message)
                result.is_right = true;
            else
                ++result.wrong;
        }
    };
    for (std::size_t at = 0; at < samples.size(); at += kBlock) {
        tonelink_receiver_push_s16(opened, samples.data() + at,
                                   std::min(kBlock, samples.size() - at), 1);
        take();
    }
    tonelink_receiver_flush(opened);
    take();
    return result;
}

} // namespace tonelink::bench
