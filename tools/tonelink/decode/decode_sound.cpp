#include "decode/decode_sound.h"

#include <chrono>

namespace tonelink::tool {
namespace {

/// A stream that has brought nothing for so long stands still. A sound card brings more sooner.
constexpr std::chrono::milliseconds kStandstill{250};

} // namespace

void decode_sound(receiver_input &input, message_lengths lengths, const decoding_observer &observer)
{
    sound_decoder decoder{lengths, observer.accepted};
    const auto tell = [&] {
        while (const auto burst = decoder.take_burst()) observer.heard(*burst);
    };
    const auto read = [&] {
        while (!input.wait(kStandstill))
            while (const auto burst = decoder.take_early()) observer.heard(*burst);
        return input.read();
    };
    for (auto samples = read(); !samples.empty(); samples = read()) {
        decoder.put(samples);
        tell();
        if (observer.progressed) observer.progressed();
    }
    decoder.finish();
    tell();
}

} // namespace tonelink::tool
