#include "decode/decode_sound.h"

#include <chrono>
#include <string>

#include "errors.h"
#include "report_text.h"

namespace tonelink::tool {
namespace {

/// A stream that has brought nothing for so long stands still. A sound card brings more sooner.
constexpr std::chrono::milliseconds kStandstill{250};

} // namespace

void require_rate(const sound_reader &sound)
{
    const int rate = sound.sample_rate();
    if (rate >= TONELINK_RECEIVER_LOWEST_RATE && rate <= TONELINK_RECEIVER_HIGHEST_RATE) return;
    throw file_failure{joined(
        0, "cannot decode ", sound.name(), ": its sample rate of ", rate, " Hz is too ",
        rate < TONELINK_RECEIVER_LOWEST_RATE ? "low for bursts; " : "high; ",
        TONELINK_RECEIVER_LOWEST_RATE, " to ", TONELINK_RECEIVER_HIGHEST_RATE, " Hz is right")};
}

tonelink_reception decode_sound(sound_reader &sound, const listening &wanted,
                                const decoding_observer &observer)
{
    require_rate(sound);
    burst_receiver receiver{sound.sample_rate(), wanted};
    const auto tell = [&] {
        while (const auto heard = receiver.take()) observer.heard(*heard);
    };
    const auto read = [&] {
        while (!sound.wait(kStandstill)) {
            receiver.settle();
            tell();
        }
        return sound.read();
    };
    for (auto samples = read(); !samples.empty(); samples = read()) {
        receiver.put(samples);
        tell();
        if (observer.progressed) observer.progressed(samples.size());
    }
    receiver.finish();
    tell();
    return receiver.reception();
}

} // namespace tonelink::tool
