#include "decode/decode_sound.h"

#include "decode/receiver_input.h"

namespace tonelink::tool {

decoded_sound decode_sound(const sound_source &source, message_lengths lengths,
                           const decoding_observer &observer)
{
    receiver_input input{source};
    sound_decoder decoder{lengths, observer.accepted};
    decoded_sound sound{{}, {}, input.has_band()};
    const auto take_bursts = [&] {
        while (auto burst = decoder.take_burst()) sound.bursts.push_back(std::move(*burst));
    };
    for (auto samples = input.read(); !samples.empty(); samples = input.read()) {
        decoder.put(samples);
        take_bursts();
        const auto progress = input.progress();
        if (observer.progressed && progress) observer.progressed(*progress);
    }
    decoder.finish();
    take_bursts();
    sound.messages = decoder.messages();
    return sound;
}

} // namespace tonelink::tool
